#pragma once

#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Linux/Bus/SharedBuses.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Loop/MainLoop.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "tools/ksbeacon/device/ServiceManager.h"
#include "tools/ksbeacon/device/TransferWatch.h"
#include "tools/ksbeacon/host/LibraryHost.h"
#include "tools/ksbeacon/host/ObservedPlatform.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

/// How long to wait before the next attempt to start: longer each time, and from the beginning
/// after a success.
class RetryDelay {
 public:
  Seconds next() {
    const Seconds delay = next_;
    next_ = std::min(next_ * 2, kLongest);
    return delay;
  }
  void succeeded() { next_ = kFirst; }

 private:
  static constexpr Seconds kFirst{5};
  static constexpr Seconds kLongest{300};
  Seconds next_ = kFirst;
};

struct LibraryRunOptions {
  LinuxPlatformOptions platform;
  /// `started` and `waitsForPictures` are the run's own.
  LibraryHost::Options library;
  TimelinePrinter::Options form;
  /// Each ranging result with all its beacons; otherwise only changes.
  bool everyRanging = false;
};

/// The library on this machine, from its launch to the end of the process. Installs the platform
/// meanwhile. Main thread.
class LibraryRun : private CBCentralManagerDelegate {
 public:
  explicit LibraryRun(LibraryRunOptions options);
  LibraryRun(const LibraryRun&) = delete;
  LibraryRun& operator=(const LibraryRun&) = delete;
  ~LibraryRun() override;

  /// Until a signal asks for the end; answers the exit code. Transfers under way then have
  /// `kFarewell` to end.
  int run();

 private:
  /// Of the two seconds in which the process must be gone.
  static constexpr Seconds kFarewell{1};
  static constexpr Seconds kStopLimit{1.9};
  /// As often as systems for phones wake their applications.
  static constexpr Seconds kBetweenFetches{900};

  void centralManagerDidUpdateState(CBCentralManager& central) override;
  void didDiscoverPeripheral(CBCentralManager& /*central*/, const CBPeripheral& /*peripheral*/,
                             const Dictionary& /*advertisementData*/, Dbm /*rssi*/) override {}
  bool launch(const std::string& announcement);
  /// Unless the library runs or is starting.
  void startAgain();
  void started(const std::optional<Error>& error);
  void printed();
  /// At once.
  void end(int code);
  void refresh();
  void stop();
  void watch();

  LibraryRunOptions options_;
  ServiceManager serviceManager_;
  MainLoop loop_;
  std::shared_ptr<TransferWatch> transfers_ = std::make_shared<TransferWatch>();
  LinuxPlatform device_;
  SharedBuses buses_{device_.mainQueue()};
  Timeline timeline_;
  TimelinePrinter printer_;
  std::shared_ptr<TimelineRecorder> recorder_;
  std::shared_ptr<ObservedPlatform> platform_;
  std::optional<LibraryHost> library_;
  /// Only to be told of the radio.
  std::unique_ptr<CBCentralManager> central_;
  std::optional<bool> isRadioUsable_;
  RetryDelay retryDelay_;
  Wakeup retry_;
  Wakeup watch_;
  Wakeup farewell_;
  bool stopping_ = false;
  int code_;
};

}  // namespace ks::tool
