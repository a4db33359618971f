#include "tools/ksbeacon/device/LibraryRun.h"

#include <fmt/format.h>

#include <csignal>
#include <iostream>
#include <utility>

#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"

namespace ks::tool {

namespace {

LinuxPlatformOptions watched(LinuxPlatformOptions options,
                             const std::shared_ptr<TransferWatch>& transfers) {
  options.httpObserver = transfers;
  return options;
}

}  // namespace

LibraryRun::LibraryRun(LibraryRunOptions options)
    : options_(std::move(options)),
      device_(watched(options_.platform, transfers_)),
      printer_(std::cout, device_.clock().now(), options_.form),
      recorder_(std::make_shared<TimelineRecorder>(
          timeline_, TimelineRecorder::Options{device_.clock().now(), options_.library.portalURL,
                                               options_.everyRanging})),
      platform_(std::make_shared<ObservedPlatform>(device_, *recorder_)),
      code_(kSuccess) {
  Platform::install(platform_);
  recorder_->follow(device_.clock());
  timeline_.listen([this](const TimelineEvent& event) {
    printer_.print(event);
    printed();
  });
  transfers_->follow(device_.mainQueue(), [this](const HttpExchange& exchange) {
    library_->transferEnded(exchange);
    if (stopping_ && transfers_->underWay() == 0) loop_.quit();
  });
  options_.library.waitsForPictures = false;
  options_.library.started = [this](const std::optional<Error>& error) { started(error); };
  loop_.onStop(kStopLimit, [this] { stop(); });
  loop_.onSignal(SIGHUP, [this] { refresh(); });
}

LibraryRun::~LibraryRun() {
  central_.reset();
  library_.reset();
  Platform::install(nullptr);
}

int LibraryRun::run() {
  library_.emplace(recorder_, options_.library);
  if (!launch("launched")) return kUnavailable;
  device_.linuxApplication().setBackgroundFetchHandler(
      [this](KSProximityManager::FetchCompletion done) {
        // While it is starting the library would never answer.
        if (!library_->manager()->started()) return done(UIBackgroundFetchResult::noData);
        library_->fetchInBackground(std::move(done));
      });
  if (auto* const center = device_.linuxNotificationCenter()) {
    center->setDeliveryHandler([this](const UNNotificationRequest& request) {
      const std::string text = shownText(request.content.title, request.content.body);
      recorder_->say(TimelineKind::notification, "shown: " + text,
                     {{"action", "shown"},
                      {"zone", request.content.userInfo["beaconIdentifier"]},
                      {"text", text}});
    });
    center->setResponseHandler([this](const UNNotificationResponse& response) {
      library_->openNotification(response.request.content.userInfo);
    });
  }
  device_.linuxApplication().becomeActive();
  central_ = device_.makeCentralManager(*this);
  serviceManager_.ready();
  watch();
  loop_.run();
  return code_;
}

bool LibraryRun::launch(const std::string& announcement) {
  if (!library_->launch(announcement)) return false;
  // A library that is made sets its own.
  device_.linuxApplication().setMinimumBackgroundFetchInterval(kBetweenFetches);
  return true;
}

void LibraryRun::startAgain() {
  if (stopping_) return;
  if (!library_->isRefused()) return library_->start();
  if (!launch("makes the library anew")) end(kUnavailable);
}

void LibraryRun::centralManagerDidUpdateState(CBCentralManager& central) {
  const CBManagerState state = central.state();
  if (state == CBManagerState::unknown) return;
  const bool isUsable = state == CBManagerState::poweredOn;
  if (isRadioUsable_ == isUsable) return;
  const bool cameLate = isUsable && isRadioUsable_.has_value() && !stopping_;
  isRadioUsable_ = isUsable;
  library_->say(isUsable ? "Bluetooth can be used" : "Bluetooth cannot be used");
  // Without a radio the library takes no locations, and does not ask again by itself.
  if (cameLate && library_->manager()->started() && library_->manager()->locations().empty()) {
    library_->refresh();
  }
}

void LibraryRun::started(const std::optional<Error>& error) {
  if (!error) {
    retryDelay_.succeeded();
    serviceManager_.status("the library runs");
    return;
  }
  const Seconds delay = retryDelay_.next();
  library_->say(fmt::format("tries again in {:.0f} s", delay.count()));
  serviceManager_.status("the library did not start: " + error->localizedDescription());
  retry_.arm(device_.mainQueue(), delay, [this] { startAgain(); });
}

/// Whoever reads the timeline sees it as it happens; when nobody does any more, it ends.
void LibraryRun::printed() {
  if (std::cout.flush() || stopping_) return;
  warn("nobody reads the output any more");
  end(kFailure);
}

void LibraryRun::end(int code) {
  code_ = code;
  stopping_ = true;
  loop_.quit();
}

void LibraryRun::refresh() {
  if (stopping_) return;
  serviceManager_.reloading();
  startAgain();
  if (!stopping_ && library_->manager()->started()) library_->refresh();
  serviceManager_.ready();
}

void LibraryRun::stop() {
  if (std::exchange(stopping_, true)) return;
  serviceManager_.stopping();
  library_->say("ends");
  device_.linuxApplication().expireBackgroundTasks();
  library_->manager()->settingsManager().save();
  library_->manager()->settingsManager().saveTags();
  if (transfers_->underWay() == 0) return loop_.quit();
  farewell_.arm(device_.mainQueue(), kFarewell, [this] { loop_.quit(); });
}

void LibraryRun::watch() {
  const auto interval = serviceManager_.watchInterval();
  if (!interval) return;
  serviceManager_.alive();
  watch_.arm(device_.mainQueue(), *interval, [this] { watch(); });
}

}  // namespace ks::tool
