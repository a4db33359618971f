#include "tools/ksbeacon/replay/Replay.h"

#include <fmt/format.h>

#include <deque>
#include <set>
#include <utility>

#include "BeaconSDK/Platform/Recorded/ReplayedPlatform.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "tools/ksbeacon/host/HostDetails.h"
#include "tools/ksbeacon/host/ObservedPlatform.h"
#include "tools/ksbeacon/host/RunningHost.h"
#include "tools/ksbeacon/host/StoppedClock.h"
#include "tools/ksbeacon/host/TimelineMarks.h"
#include "tools/ksbeacon/simulate/WalkPortal.h"

namespace ks::tool {

namespace {

using Kind = RecordedEvent::Kind;

/// One process of the recording: its device, and an application like the one that was recorded.
class Process {
 public:
  /// `announced` are the zones whose contents were announced so far.
  Process(const RecordedEvent& begin, Timeline& timeline, const ReplayOptions& options,
          const WalkPortal* otherPortal, const std::set<std::string>& announced)
      : device_(begin) {
    LibraryHost::Options library = libraryOptionsIn(device_.host());
    if (options.refinements) library.refinements = *options.refinements;
    TimelineRecorder::Options lines = timelineOptionsIn(device_.host());
    lines.exactStays = library.refinements.exactStays;
    lines.everyRanging = options.everyRanging;
    if (options.hasOtherRules()) device_.setIndependent();
    if (otherPortal != nullptr) usePortal(*otherPortal, library, lines);
    recorder_ = std::make_shared<TimelineRecorder>(timeline, std::move(lines));
    platform_ = std::make_shared<ObservedPlatform>(device_, *recorder_);
    recorder_->follow(device_.clock());
    platform_->clock().jump(Seconds{device_.host()["clockShift"].doubleValue()});
    Platform::install(platform_);
    if (device_.host()["application"].stringValue() == "run") {
      runningHost_.emplace(recorder_, std::move(library), RunningHost::Events{});
    } else {
      host_.emplace(recorder_, std::move(library));
    }
    const bool hasOtherRules = options.hasOtherRules();
    device_.setHostHandler(
        [this, hasOtherRules, &announced](const std::string& name, const Dictionary& arguments) {
          // Nobody sees or opens what the other rules do not announce.
          const Dictionary* const shown = arguments["userInfo"].dictionary();
          const std::string zone =
              shown != nullptr ? (*shown)["beaconIdentifier"].stringValue().value_or("") : "";
          if (hasOtherRules && shown != nullptr && !announced.contains(zone)) return;
          if (platform_->handle(name, arguments)) return;
          if (runningHost_) runningHost_->handle(name, arguments);
          if (host_) host_->handle(name, arguments);
        });
    device_.setNoticeListener([this](const std::string& text) { recorder_->notice(text); });
    device_.setTransferListener([this](const HttpExchange& exchange) { transferEnded(exchange); });
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() {
    stopped_.set(device_.clock().now());
    recorder_->follow(stopped_);
    device_.setTransferListener(nullptr);
    host_.reset();
    runningHost_.reset();
    if (network_) network_->detach();
    Platform::install(nullptr);
  }

  ReplayedPlatform& device() { return device_; }
  Date start() const { return recorder_->options().start; }

 private:
  void usePortal(const WalkPortal& portal, LibraryHost::Options& library,
                 TimelineRecorder::Options& lines) {
    library.portalURL = portal.url();
    lines.portalURL = portal.url();
    network_ = portal.network();
    network_->attach({[this] { return std::make_shared<SimulatedQueue>(device_.loop()); },
                      device_.directories().temporary,
                      [this](const HttpExchange& exchange) { transferEnded(exchange); }});
    device_.setURLLoadingSystem(*network_);
  }

  void transferEnded(const HttpExchange& exchange) {
    if (runningHost_) runningHost_->transferEnded(exchange);
    if (host_) host_->transferEnded(exchange);
  }

  ReplayedPlatform device_;
  /// Of the other portal; null without one.
  std::shared_ptr<portal::SiteLoadingSystem> network_;
  std::shared_ptr<TimelineRecorder> recorder_;
  std::shared_ptr<ObservedPlatform> platform_;
  /// One of the two, as the recording says.
  std::optional<LibraryHost> host_;
  std::optional<RunningHost> runningHost_;
  StoppedClock stopped_;
};

/// Feeds the processes with the entries of the recording and holds their events against its marks.
class Replaying {
 public:
  Replaying(RecordingReader reader, const ReplayOptions& options, Timeline& timeline,
            const ReplayBeginning& begins, const WalkPortal* portal)
      : reader_(std::move(reader)),
        options_(options),
        timeline_(timeline),
        begins_(begins),
        portal_(portal) {
    watched_.listen([this](const TimelineEvent& event) { happened(event); });
  }

  ReplayResult run() {
    while (!isOver() && reader_.next(*read_)) take(*read_);
    leave();
    result_.isWhole = reader_.isWhole();
    return std::move(result_);
  }

 private:
  bool isOver() {
    if (options_.isInterrupted && ++taken_ % 1024 == 0) {
      result_.interrupted = options_.isInterrupted();
    }
    return result_.interrupted || isDone_ || !result_.departure.empty();
  }

  void take(const RecordedEvent& event) {
    if (event.kind == Kind::begin) leave();
    lastEntry_ = event.microseconds;
    switch (event.kind) {
      case Kind::answer:
        if (process_) process_->device().addAnswer(event);
        return;
      case Kind::mark:
        marks_.push_back(event.subject);
        return;
      case Kind::begin:
        return begin(event);
      case Kind::note:
        flush();
        process_.reset();
        if (!isOver()) pass(eventIn(event));
        return;
      default:
        // Whatever the library asks while it lives through an input stands before the next one.
        flush();
        std::swap(read_, pending_);
        hasPending_ = true;
    }
  }

  /// Lives on to the last entry of a process. One that was killed, or whose end is torn, tells
  /// nothing of its end.
  void leave() {
    isTorn_ = !hasPending_ || pending_->kind != Kind::end;
    if (!isOver()) flush();
    if (!isOver() && process_) process_->device().runUntil(lastEntry_);
    isLeaving_ = true;
    process_.reset();
    isLeaving_ = isTorn_ = false;
  }

  void begin(const RecordedEvent& event) {
    marks_.clear();
    process_ = std::make_unique<Process>(event, watched_, options_, portal_, announced_);
    isChecked_ = !process_->device().isPrivate() && !options_.hasOtherRules();
    if (!std::exchange(hasBegun_, true)) {
      result_.start = process_->start();
      if (begins_) begins_(result_.start);
    }
  }

  void flush() {
    if (!std::exchange(hasPending_, false) || !process_) return;
    ReplayedPlatform& device = process_->device();
    if (options_.until) {
      const Date last = result_.start + *options_.until;
      const double left = secondsBetween(device.clock().now(), last);
      const auto limit =
          static_cast<std::int64_t>((device.clock().uptime().count() + std::max(left, 0.0)) * 1e6);
      if (pending_->microseconds > limit) {
        device.runUntil(limit);
        isDone_ = true;
        return;
      }
    }
    if (pending_->kind == Kind::end) {
      device.runUntil(pending_->microseconds);
      result_.end = device.clock().now() - result_.start;
      check(device);
      return process_.reset();
    }
    device.replay(*pending_);
    result_.end = device.clock().now() - result_.start;
    check(device);
  }

  void check(const ReplayedPlatform& device) {
    if (result_.departure.empty() && !device.departure().empty()) depart(device.departure());
  }

  void depart(const std::string& how) {
    if (!result_.departure.empty() || !isChecked_) return;
    result_.departure =
        fmt::format("event {} at {}: {}", events_ + 1, timelineMoment(lastMoment_), how);
  }

  void happened(const TimelineEvent& event) {
    if (!result_.departure.empty() || isDone_ || isLeaving_) return;
    compare(event);
    if (event.details["action"].stringValue() == "announced") {
      announced_.insert(event.details["zone"].stringValue().value_or(""));
    }
    // Each run counts from its own beginning, the timeline from the first one's.
    TimelineEvent told = event;
    told.at += startOfProcess() - result_.start;
    lastMoment_ = told.at;
    if (result_.departure.empty()) pass(told);
  }

  Date startOfProcess() const { return process_ ? process_->start() : result_.start; }

  void compare(const TimelineEvent& event) {
    const auto mark = isChecked_ ? timelineMark(event, startOfProcess()) : std::nullopt;
    if (!mark) return;
    if (marks_.empty()) {
      // What stood in a torn block cannot be held against anything.
      if (!isTorn_) depart("now " + event.text + ", and nothing when it was recorded");
      return;
    }
    const std::uint64_t recorded = marks_.front();
    marks_.pop_front();
    if (recorded == *mark) return;
    depart(fmt::format("now {} ({}), and another event ({}) when it was recorded", event.text,
                       timelineKindName(event.kind), markedKind(recorded)));
  }

  void pass(const TimelineEvent& event) {
    if (options_.until && event.at > *options_.until) return;
    ++events_;
    timeline_.add(event);
  }

  RecordingReader reader_;
  const ReplayOptions& options_;
  Timeline& timeline_;
  const ReplayBeginning& begins_;
  const WalkPortal* portal_;
  Timeline watched_;
  ReplayResult result_;
  /// Must outlive the process.
  std::set<std::string> announced_;
  std::unique_ptr<Process> process_;
  std::deque<std::uint64_t> marks_;
  /// The entry that is read, and the last input, which waits for what stands behind it.
  RecordedEvent entries_[2];
  RecordedEvent* read_ = &entries_[0];
  RecordedEvent* pending_ = &entries_[1];
  bool hasPending_ = false;
  bool hasBegun_ = false;
  bool isChecked_ = true;
  bool isDone_ = false;
  /// What the process does next may not have been recorded any more.
  bool isTorn_ = false;
  bool isLeaving_ = false;
  /// In microseconds of its process.
  std::int64_t lastEntry_ = 0;
  std::uint64_t taken_ = 0;
  std::uint64_t events_ = 0;
  Seconds lastMoment_{0};
};

}  // namespace

ReplayResult replay(const std::filesystem::path& recording, const ReplayOptions& options,
                    Timeline& timeline, const ReplayBeginning& begins) {
  ReplayResult result;
  auto reader = RecordingReader::open(recording);
  if (!reader) {
    result.failure = reader.error().localizedDescription();
    return result;
  }
  std::unique_ptr<WalkPortal> portal;
  if (!options.documents.empty()) {
    portal::PortalOptions portalOptions;
    portalOptions.documents = options.documents;
    portalOptions.reload = false;
    auto started = startSitePortal(std::move(portalOptions));
    if (!started) {
      result.failure = started.error().localizedDescription();
      return result;
    }
    portal = std::move(started.value());
  }
  return Replaying(std::move(reader.value()), options, timeline, begins, portal.get()).run();
}

}  // namespace ks::tool
