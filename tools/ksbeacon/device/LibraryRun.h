#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Linux/Bus/SharedBuses.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Loop/MainLoop.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "BeaconSDK/Platform/Recorded/RecordedPlatform.h"
#include "tools/ksbeacon/device/EventOutputs.h"
#include "tools/ksbeacon/device/HealthPost.h"
#include "tools/ksbeacon/device/Journal.h"
#include "tools/ksbeacon/device/ServiceManager.h"
#include "tools/ksbeacon/device/TransferWatch.h"
#include "tools/ksbeacon/explanation/Chronicle.h"
#include "tools/ksbeacon/host/ObservedPlatform.h"
#include "tools/ksbeacon/host/RunningHost.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

struct LibraryRunOptions {
  LinuxPlatformOptions platform;
  /// `started` and `waitsForPictures` are the run's own.
  LibraryHost::Options library;
  TimelinePrinter::Options form;
  /// Takes down what enters the device. Null for nobody.
  std::unique_ptr<RecordingWriter> recording;
  /// Where `ksbeacon status` asks.
  std::filesystem::path statusSocket;
  /// A file of metrics; empty: none.
  std::filesystem::path metrics;
  EventOutputs::Options outputs;
};

/// The library on this machine, from its launch to the end of the process. Installs the platform
/// meanwhile. Main thread.
class LibraryRun {
 public:
  explicit LibraryRun(LibraryRunOptions options);
  LibraryRun(const LibraryRun&) = delete;
  LibraryRun& operator=(const LibraryRun&) = delete;
  ~LibraryRun();

  /// Until a signal asks for the end; answers the exit code. Transfers under way then have
  /// `kFarewell` to end.
  int run();

 private:
  /// Of the two seconds in which the process must be gone.
  static constexpr Seconds kFarewell{1};
  static constexpr Seconds kStopLimit{1.9};
  /// How often a recording that is kept within a limit is looked at.
  static constexpr Seconds kBetweenLooks{60};
  /// Looks: in a busy place a new part of the recording waits no longer.
  static constexpr int kMostPostponed = 60;
  std::unique_ptr<RecordedPlatform> record();
  std::shared_ptr<ObservedPlatform> observe();
  /// Makes the library, as a process does that begins.
  void launch(const char* text);
  /// Ends the library and begins it anew when the recording needs another part.
  void keepRecordingShort();
  RunningHost::Events hostEvents();
  /// Has the host do something, through the recording if there is one.
  void call(const std::string& name, Dictionary arguments = {});
  void serveNotifications();
  void print(const TimelineEvent& event);
  void printed();
  /// At once.
  void end(int code);
  void refresh();
  void stop();
  void watch();
  /// The library's, with what its platform knows better.
  ks::Health health();
  std::string why(const std::string& subject);
  /// Whether a service of the machine that is missing ails this run.
  bool matters(const std::string& reason, const ks::Health& health) const;

  LibraryRunOptions options_;
  ServiceManager serviceManager_;
  MainLoop loop_;
  std::shared_ptr<TransferWatch> transfers_ = std::make_shared<TransferWatch>();
  LinuxPlatform device_;
  SharedBuses buses_{device_.mainQueue()};
  Timeline timeline_;
  /// From which all lines count.
  const Date start_;
  TimelinePrinter printer_;
  /// Instead of the printer where the output goes to the system's journal; else null.
  std::unique_ptr<Journal> journal_ = Journal::ofOutput();
  EventOutputs outputs_;
  Chronicle chronicle_;
  std::shared_ptr<TimelineRecorder> recorder_;
  /// Null without a recording.
  std::unique_ptr<RecordedPlatform> recorded_;
  std::shared_ptr<ObservedPlatform> platform_;
  std::optional<RunningHost> host_;
  /// Of the background fetch that goes on.
  KSProximityManager::FetchCompletion fetched_;
  Wakeup watch_;
  int postponed_ = 0;
  Wakeup look_;
  Wakeup farewell_;
  std::optional<HealthPost> healthPost_;
  bool stopping_ = false;
  int code_;
};

}  // namespace ks::tool
