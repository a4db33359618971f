#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Location/Radio/BeaconTable.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"
#include "BeaconSDK/Platform/Location/Regions/RegionReports.h"

namespace ks {

/// From here on one packet enters a region: 10 dB above what the usual radio still receives. An
/// unknown strength counts as weak.
inline constexpr Dbm kStrongPacket{-90};
/// A weak packet is confirmed by one of the following so many seconds.
inline constexpr Seconds kWeakMemory = kUnlearnedSilence;

/// Decides from packets and silence which beacon regions the device is in.
///
/// A region is inside from the first strong packet of one of its beacons, or the second weak one,
/// so that a stray packet from the edge of the range enters nothing. It is outside when each of
/// them has been silent for as long as its packet gaps tell. Only regions that are inside, or of
/// which nothing is known yet, have a timer; it looks at most every 30 s.
class BeaconPresence {
 public:
  /// `limitChanged` is called when a region's silence limit is worth saving.
  BeaconPresence(Clock& clock, DispatchQueue& queue, BeaconTable& table, const RegionRegistry& book,
                 RegionReports& reports, std::function<void()> limitChanged);

  void add(MonitoredRegion& region);
  void remove(MonitoredRegion& region);
  void heard(const std::vector<MonitoredRegion*>& regions, Dbm rssi, Seconds time);
  /// Silence counts only while the device listens; it begins anew when listening resumes.
  void setListening(bool listening);
  bool isListening() const { return listening_; }
  bool hasRegions() const { return regions_ > 0; }

 private:
  void listen(MonitoredRegion& region);
  /// Whether that packet is enough to believe that the device is in the region.
  static bool isEvidence(MonitoredRegion& region, Dbm rssi, Seconds time);
  void arm(MonitoredRegion& region, Seconds now, Seconds delay);
  void look(MonitoredRegion& region, Seconds due);
  /// When the region's last beacon is given up.
  Seconds deadline(MonitoredRegion& region);

  Clock& clock_;
  DispatchQueue& queue_;
  BeaconTable& table_;
  const RegionRegistry& book_;
  RegionReports& reports_;
  std::function<void()> limitChanged_;
  bool listening_ = false;
  std::size_t regions_ = 0;
};

}  // namespace ks
