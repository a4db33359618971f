#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZMonitor.h"
#include "BeaconSDK/Platform/Linux/Bus/BusService.h"
#include "BeaconSDK/Platform/Linux/Bus/RetryPause.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// How much of what is in the air is wanted.
enum class RadioListening {
  none,
  /// Beacons, passively, as long as the daemon has advertisement monitors.
  beacons,
  /// Every advertisement with its strength.
  everything,
};

/// Makes one Bluetooth adapter listen, and keeps it so.
///
/// What is wanted and what the daemon was told are compared after each answer, and the next call
/// follows from the difference: one call at a time, in any state, whatever failed before. A failed
/// call is tried again, at first after 1 s, later at most every 60 s.
///
/// - `beacons` is a monitor alone; `everything` is a quiet monitor and a discovery, which together
///   report every advertisement with its strength.
/// - Where the daemon has no monitors, both are a discovery that begins anew each second: the
///   controller then forgets which advertisements it has reported.
/// - A discovery that hears nothing at all for 10 s begins anew too: the daemon can believe in one
///   that the kernel has ended, for instance after the daemon was killed in the middle of one.
///
/// Main thread only; the service and the queue outlive the adapter.
class BlueZAdapter : public std::enable_shared_from_this<BlueZAdapter> {
 public:
  struct Listener {
    /// A monitor was told of a beacon.
    std::function<void(std::string_view devicePath)> deviceFound;
    /// Something that the accessors tell has changed.
    std::function<void()> changed;
  };
  BlueZAdapter(BusService& service, DispatchQueue& queue, std::string path, Listener listener);
  /// Begins to follow what is wanted.
  void setListening(RadioListening listening);
  void setPowered(bool powered);
  void setHasMonitors(bool hasMonitors);
  /// The adapter has received an advertisement.
  void heard() { heard_ = true; }

  /// "hci0".
  std::string name() const;
  bool isPowered() const { return powered_; }
  /// What is wanted is under way; restarts do not count as interruptions.
  bool isListening() const { return listens_; }
  /// The bus does not let this process use the adapter.
  bool isRefused() const { return refused_; }
  bool usesMonitors() const { return hasMonitors_ && !monitorsFailed_; }
  /// Why the last call failed; empty when it did not.
  const std::string& problem() const { return problem_; }

 private:
  using Next = void (BlueZAdapter::*)(const GError* error);

  const BlueZMonitor* wantedMonitor() const;
  bool wantsDiscovery() const;
  void advance();
  void settled();
  void call(const char* interface, const char* method, GVariant* parameters, Next next);
  void monitorRegistered(const GError* error);
  void monitorUnregistered(const GError* error);
  void filterSet(const GError* error);
  void discoveryStarted(const GError* error);
  void discoveryStopped(const GError* error);
  void released(const BlueZMonitor& monitor);
  void succeeded();
  void failed(const GError* error);
  void setListens(bool listens);

  BusService& service_;
  DispatchQueue& queue_;
  const std::string path_;
  const Listener listener_;
  const BlueZMonitor everyPacket_;
  const BlueZMonitor quiet_;

  RadioListening listening_ = RadioListening::none;
  bool powered_ = false;
  bool hasMonitors_ = false;
  bool monitorsFailed_ = false;

  /// What the daemon was told.
  const BlueZMonitor* registered_ = nullptr;
  const BlueZMonitor* registering_ = nullptr;
  bool hasFilter_ = false;
  bool discovering_ = false;
  /// The discovery must begin anew.
  bool stale_ = false;
  /// Since the last look.
  bool heard_ = false;

  bool busy_ = false;
  bool listens_ = false;
  bool refused_ = false;
  std::string problem_;
  RetryPause retryPause_;
  Wakeup retry_;
  Wakeup restart_;
};

}  // namespace ks
