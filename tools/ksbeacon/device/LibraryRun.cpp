#include "tools/ksbeacon/device/LibraryRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <utility>

#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"
#include "tools/ksbeacon/device/Services.h"
#include "tools/ksbeacon/explanation/Explanation.h"
#include "tools/ksbeacon/host/HostDetails.h"
#include "tools/ksbeacon/host/TimelineMarks.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/output/Terminal.h"

namespace ks::tool {

namespace {

LinuxPlatformOptions watched(LinuxPlatformOptions options,
                             const std::shared_ptr<TransferWatch>& transfers,
                             std::function<void(const std::string&)> notice) {
  options.httpObserver = transfers;
  options.noticeListener = std::move(notice);
  return options;
}

}  // namespace

LibraryRun::LibraryRun(LibraryRunOptions options)
    : options_(std::move(options)),
      device_(watched(options_.platform, transfers_,
                      [this](const std::string& text) { recorder_->notice(text); })),
      start_(device_.clock().now()),
      printer_(std::cout, start_, options_.form),
      outputs_(options_.outputs, device_.mainQueue(), start_, warn),
      recorder_(std::make_shared<TimelineRecorder>(
          timeline_, TimelineRecorder::Options{start_,
                                               options_.library.portalURL,
                                               true,
                                               {},
                                               options_.library.refinements.exactStays})),
      recorded_(record()),
      platform_(observe()),
      code_(kSuccess) {
  timeline_.listen([this](const TimelineEvent& event) {
    if (recorded_) recordEvent(*options_.recording, event, recorder_->options().start, true);
    chronicle_.note(event);
    print(event);
    outputs_.take(event);
  });
  transfers_->follow(device_.mainQueue(), [this](const HttpExchange& exchange) {
    if (!recorded_) host_->transferEnded(exchange);
    if (stopping_ && transfers_->underWay() == 0) loop_.quit();
  });
  loop_.onStop(kStopLimit, [this] { stop(); });
  loop_.onSignal(SIGHUP, [this] { refresh(); });
}

LibraryRun::~LibraryRun() {
  healthPost_.reset();
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
  recorded->setNoticeListener([this](const std::string& text) { recorder_->notice(text); });
  recorded->setTransferListener(
      [this](const HttpExchange& exchange) { host_->transferEnded(exchange); });
  return recorded;
}

std::shared_ptr<ObservedPlatform> LibraryRun::observe() {
  auto platform = std::make_shared<ObservedPlatform>(
      recorded_ ? static_cast<Platform&>(*recorded_) : device_, *recorder_);
  Platform::install(platform);
  recorder_->follow(platform->clock());
  return platform;
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

void LibraryRun::launch(const char* text) {
  host_.emplace(recorder_, options_.library, hostEvents());
  call("launch", {{"text", text}});
}

/// Only at a quiet moment: what is under way would be cut off.
void LibraryRun::keepRecordingShort() {
  look_.arm(device_.mainQueue(), kBetweenLooks, [this] { keepRecordingShort(); });
  if (stopping_ || transfers_->underWay() > 0 || !options_.recording->isPartFull()) return;
  // A running dwelling time would begin again.
  const Seconds now{secondsBetween(start_, device_.clock().now())};
  if (chronicle_.isDwelling(now) && ++postponed_ < kMostPostponed) return;
  postponed_ = 0;
  call("stop");
  device_.linuxApplication().resignActive();
  host_.reset();
  Platform::install(nullptr);
  platform_.reset();
  recorder_->follow(device_.clock());
  recorded_.reset();
  recorded_ = record();
  platform_ = observe();
  launch("launched again: the recording begins another part");
  device_.linuxApplication().becomeActive();
}

int LibraryRun::run() {
  launch("launched");
  if (stopping_) return code_;
  if (recorded_) keepRecordingShort();
  device_.linuxApplication().setBackgroundFetchHandler(
      [this](KSProximityManager::FetchCompletion done) {
        fetched_ = std::move(done);
        call("fetch");
      });
  serveNotifications();
  device_.linuxApplication().becomeActive();
  healthPost_.emplace(
      options_.statusSocket, options_.metrics, device_.mainQueue(), [this] { return health(); },
      [this](const std::string& subject) { return why(subject); });
  serviceManager_.ready();
  watch();
  loop_.run();
  return code_;
}

void LibraryRun::serveNotifications() {
  auto* const center = device_.linuxNotificationCenter();
  if (center == nullptr) return;
  center->setDeliveryHandler([this](const UNNotificationRequest& request) {
    call("shown", {{"title", request.content.title},
                   {"body", request.content.body},
                   {"userInfo", request.content.userInfo}});
  });
  center->setResponseHandler([this](const UNNotificationResponse& response) {
    call("openNotification", {{"userInfo", response.request.content.userInfo}});
  });
}

void LibraryRun::print(const TimelineEvent& event) {
  const bool isJournal = journal_ && options_.form.form == TimelinePrinter::Form::text;
  if (!isJournal) {
    printer_.print(event);
    return printed();
  }
  const bool isWanted = (options_.form.log || event.kind != TimelineKind::log) &&
                        (options_.form.everything || !event.minor);
  if (isWanted && priorityOf(event) <= options_.form.leastPriority) {
    journal_->send(event, recorder_->options().start);
  }
}

/// Whoever reads the timeline sees it as it happens; when nobody does any more, it ends.
void LibraryRun::printed() {
  const std::string problem = outputProblem();
  if (problem.empty() || stopping_) return;
  warn(problem);
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

bool LibraryRun::matters(const std::string& reason, const ks::Health& health) const {
  if (reason == ks::AilmentReason::positions) return health.wantsPositions;
  if (reason == "notifications") return options_.library.showsNotifications;
  // A portal that answers needs no route to anywhere else.
  if (reason == "network") return health.failingSince.has_value();
  return reason == ks::AilmentReason::bluetooth || reason == ks::AilmentReason::folders;
}

ks::Health LibraryRun::health() {
  // Between two attempts to make it there is none.
  KSProximityManager* const manager = host_->manager();
  Health health = manager == nullptr ? Health() : manager->health();
  health.receiverGain = options_.platform.receiverGain.value;
  for (const ServiceState& state : device_.serviceStates()) {
    if (state.usable) continue;
    const std::string reason = reasonFor(state);
    if (!matters(reason, health)) continue;
    const auto found = std::ranges::find(health.ailments, reason, &ks::Ailment::reason);
    ks::Ailment& ailment =
        found != health.ailments.end() ? *found : health.ailments.emplace_back(ks::Ailment{});
    ailment = {reason, state.name + ": " + state.detail, state.mend};
  }
  return health;
}

std::string LibraryRun::why(const std::string& subject) {
  KSProximityManager* const manager = host_->manager();
  using Zones = std::vector<std::shared_ptr<KSProximityZone>>;
  const KnownZones known = heldZones(manager != nullptr ? manager->knownZones() : Zones{});
  return jsonText(whyDetails(explain(chronicle_, subject, known)));
}

void LibraryRun::watch() {
  const auto interval = serviceManager_.watchInterval();
  if (!interval) return;
  serviceManager_.alive();
  watch_.arm(device_.mainQueue(), *interval, [this] { watch(); });
}

}  // namespace ks::tool
