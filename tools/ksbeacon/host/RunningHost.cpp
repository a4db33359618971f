#include "tools/ksbeacon/host/RunningHost.h"

#include <fmt/format.h>

#include <utility>

#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks::tool {

RunningHost::RunningHost(std::shared_ptr<TimelineRecorder> recorder, LibraryHost::Options options,
                         Events events)
    : events_(std::move(events)), library_(std::move(recorder), withAnswer(std::move(options))) {}

RunningHost::~RunningHost() { central_.reset(); }

LibraryHost::Options RunningHost::withAnswer(LibraryHost::Options options) {
  options.waitsForPictures = false;
  options.started = [this](const std::optional<Error>& error) { started(error); };
  return options;
}

void RunningHost::handle(const std::string& name, const Dictionary& arguments) {
  if (name == "launch") {
    const bool isMade = launch(arguments["text"].stringValue().value_or(""));
    if (isMade && !central_) central_ = Platform::current().makeCentralManager(*this);
  } else if (name == "fetch") {
    fetch();
  } else if (name == "refresh") {
    refresh();
  } else if (name == "stop") {
    stop();
  } else {
    library_.handle(name, arguments);
  }
}

bool RunningHost::launch(const std::string& announcement) {
  if (!library_.launch(announcement)) {
    if (events_.unusable) events_.unusable();
    return false;
  }
  // A library that is made sets its own.
  Platform::current().application().setMinimumBackgroundFetchInterval(kBetweenFetches);
  return true;
}

void RunningHost::startAgain() {
  if (stopping_) return;
  if (!library_.isRefused()) return library_.start();
  launch("makes the library anew");
}

void RunningHost::started(const std::optional<Error>& error) {
  if (!error) {
    retryDelay_.succeeded();
    return tell("the library runs");
  }
  const Seconds delay = retryDelay_.next();
  library_.say(fmt::format("tries again in {:.0f} s", delay.count()));
  tell("the library did not start: " + error->localizedDescription());
  retry_.arm(Platform::current().mainQueue(), delay, [this] { startAgain(); });
}

void RunningHost::centralManagerDidUpdateState(CBCentralManager& central) {
  const CBManagerState state = central.state();
  if (state == CBManagerState::unknown) return;
  const bool isUsable = state == CBManagerState::poweredOn;
  if (isRadioUsable_ == isUsable) return;
  const bool cameLate = isUsable && isRadioUsable_.has_value() && !stopping_;
  isRadioUsable_ = isUsable;
  library_.say(isUsable ? "Bluetooth can be used" : "Bluetooth cannot be used");
  // Without a radio the library takes no locations, and does not ask again by itself.
  if (cameLate && library_.manager()->started() && library_.manager()->locations().empty()) {
    library_.refresh();
  }
}

void RunningHost::fetch() {
  // While it is starting the library would never answer.
  if (library_.manager()->started()) return library_.fetchInBackground(events_.fetched);
  if (events_.fetched) events_.fetched(UIBackgroundFetchResult::noData);
}

void RunningHost::refresh() {
  startAgain();
  if (!stopping_ && library_.manager()->started()) library_.refresh();
}

void RunningHost::stop() {
  stopping_ = true;
  library_.say("ends");
  if (library_.manager() == nullptr) return;
  library_.manager()->settingsManager().save();
  library_.manager()->settingsManager().saveTags();
}

void RunningHost::tell(const std::string& status) {
  if (events_.status) events_.status(status);
}

}  // namespace ks::tool
