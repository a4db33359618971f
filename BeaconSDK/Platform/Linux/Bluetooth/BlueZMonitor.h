#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Linux/Bus/BusService.h"

namespace ks {

/// An advertisement monitor: an object of ours that the Bluetooth daemon calls when a beacon is
/// heard. While one is registered the controller listens passively and leaves no repetition out.
///
/// A monitor offers itself as an application of one object, which is what the daemon registers.
class BlueZMonitor {
 public:
  enum class Kind {
    /// Is told of every advertisement of a beacon.
    everyPacket,
    /// Is told of a beacon once; it keeps the controller from leaving out repetitions, of which the
    /// discovery tells.
    quiet,
  };
  struct Listener {
    std::function<void(std::string_view devicePath)> deviceFound;
    /// The daemon has given the monitor up.
    std::function<void()> released;
  };

  /// `path` is the application's. The service must outlive the monitor.
  BlueZMonitor(BusService& service, std::string path, Kind kind, Listener listener);
  BlueZMonitor(const BlueZMonitor&) = delete;
  BlueZMonitor& operator=(const BlueZMonitor&) = delete;
  ~BlueZMonitor();

  const std::string& path() const { return path_; }

 private:
  GVariant* called(std::string_view method, GVariant* parameters) const;
  GVariant* managedObjects() const;
  std::string monitorPath() const { return path_ + "/beacons"; }

  BusService& service_;
  const std::string path_;
  const Kind kind_;
  const Listener listener_;
};

}  // namespace ks
