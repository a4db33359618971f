#include "tools/ksbeacon/device/LibraryRun.h"

#include <fmt/format.h>

#include <csignal>
#include <iostream>
#include <utility>

#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"
#include "tools/ksbeacon/host/HostDetails.h"
#include "tools/ksbeacon/host/TimelineMarks.h"
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
      recorded_(record()),
      platform_(std::make_shared<ObservedPlatform>(
          recorded_ ? static_cast<Platform&>(*recorded_) : device_, *recorder_)),
      code_(kSuccess) {
  Platform::install(platform_);
  recorder_->follow(platform_->clock());
  timeline_.listen([this](const TimelineEvent& event) {
    if (recorded_) recordEvent(*options_.recording, event, recorder_->options().start, true);
    printer_.print(event);
    printed();
  });
  transfers_->follow(device_.mainQueue(), [this](const HttpExchange& exchange) {
    if (!recorded_) host_->transferEnded(exchange);
    if (stopping_ && transfers_->underWay() == 0) loop_.quit();
  });
  loop_.onStop(kStopLimit, [this] { stop(); });
  loop_.onSignal(SIGHUP, [this] { refresh(); });
}

LibraryRun::~LibraryRun() {
  host_.reset();
  Platform::install(nullptr);
}

std::unique_ptr<RecordedPlatform> LibraryRun::record() {
  if (!options_.recording) return nullptr;
  const LinuxPlatformOptions& platform = options_.platform;
  const auto folders = platform.folders.value_or(xdgFolders(platform.bundleIdentifier));
  Dictionary host = hostDetails(options_.library, recorder_->options());
  host.set("application", "run");
  auto recorded = std::make_unique<RecordedPlatform>(
      device_, device_.locationEngine(), folders.state, *options_.recording, std::move(host));
  recorded->setHostHandler([this](const std::string& name, const Dictionary& arguments) {
    host_->handle(name, arguments);
  });
  recorded->setTransferListener(
      [this](const HttpExchange& exchange) { host_->transferEnded(exchange); });
  return recorded;
}

RunningHost::Events LibraryRun::hostEvents() {
  RunningHost::Events events;
  events.status = [this](const std::string& status) { serviceManager_.status(status); };
  events.fetched = [this](UIBackgroundFetchResult result) {
    if (const auto done = std::exchange(fetched_, {})) done(result);
  };
  events.unusable = [this] { end(kUnavailable); };
  return events;
}

void LibraryRun::call(const std::string& name, Dictionary arguments) {
  if (recorded_) return recorded_->call(name, std::move(arguments));
  host_->handle(name, arguments);
}

int LibraryRun::run() {
  host_.emplace(recorder_, options_.library, hostEvents());
  call("launch", {{"text", "launched"}});
  if (stopping_) return code_;
  device_.linuxApplication().setBackgroundFetchHandler(
      [this](KSProximityManager::FetchCompletion done) {
        fetched_ = std::move(done);
        call("fetch");
      });
  serveNotifications();
  device_.linuxApplication().becomeActive();
  serviceManager_.ready();
  watch();
  loop_.run();
  return code_;
}

void LibraryRun::serveNotifications() {
  auto* const center = device_.linuxNotificationCenter();
  if (center == nullptr) return;
  center->setDeliveryHandler([this](const UNNotificationRequest& request) {
    const std::string text = shownText(request.content.title, request.content.body);
    call("say", {{"kind", static_cast<std::int64_t>(TimelineKind::notification)},
                 {"text", "shown: " + text},
                 {"details", Dictionary{{"action", "shown"},
                                        {"zone", request.content.userInfo["beaconIdentifier"]},
                                        {"text", text}}}});
  });
  center->setResponseHandler([this](const UNNotificationResponse& response) {
    call("openNotification", {{"userInfo", response.request.content.userInfo}});
  });
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
  call("refresh");
  serviceManager_.ready();
}

void LibraryRun::stop() {
  if (std::exchange(stopping_, true)) return;
  serviceManager_.stopping();
  device_.linuxApplication().expireBackgroundTasks();
  call("stop");
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
