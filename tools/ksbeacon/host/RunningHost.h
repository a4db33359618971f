#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "tools/ksbeacon/host/LibraryHost.h"

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

/// The application of a device that runs by itself for long: starts the library again when it could
/// not start, and when the radio comes late. All it does follows from calls and from the current
/// platform, so a replay does the same. Main queue only.
class RunningHost : private CBCentralManagerDelegate {
 public:
  /// What goes on, for whoever looks after the process; each may be empty.
  struct Events {
    /// "the library runs".
    std::function<void(const std::string& status)> status = {};
    /// How a background fetch ended.
    std::function<void(UIBackgroundFetchResult)> fetched = {};
    /// The library cannot be made at all.
    std::function<void()> unusable = {};
  };

  RunningHost(std::shared_ptr<TimelineRecorder> recorder, LibraryHost::Options options,
              Events events);
  RunningHost(const RunningHost&) = delete;
  RunningHost& operator=(const RunningHost&) = delete;
  ~RunningHost() override;

  /// "launch", "fetch", "refresh", "stop", or a call of `LibraryHost`.
  void handle(const std::string& name, const Dictionary& arguments);
  void transferEnded(const HttpExchange& exchange) { library_.transferEnded(exchange); }
  /// Null until the launch, and where the library could not be made.
  KSProximityManager* manager() { return library_.manager(); }

 private:
  /// As often as systems for phones wake their applications.
  static constexpr Seconds kBetweenFetches{900};

  void centralManagerDidUpdateState(CBCentralManager& central) override;
  void didDiscoverPeripheral(CBCentralManager& /*central*/, const CBPeripheral& /*peripheral*/,
                             const Dictionary& /*advertisementData*/, Dbm /*rssi*/) override {}
  LibraryHost::Options withAnswer(LibraryHost::Options options);
  bool launch(const std::string& announcement);
  void startAgain();
  void started(const std::optional<Error>& error);
  void fetch();
  void refresh();
  void stop();
  void tell(const std::string& status);

  Events events_;
  LibraryHost library_;
  /// Only to be told of the radio.
  std::unique_ptr<CBCentralManager> central_;
  std::optional<bool> isRadioUsable_;
  RetryDelay retryDelay_;
  Wakeup retry_;
  bool stopping_ = false;
};

}  // namespace ks::tool
