#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Location/Radio/BeaconTable.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"
#include "BeaconSDK/Platform/Location/Regions/RegionReports.h"

namespace ks {

/// Decides from packets and silence which beacon regions the device is in.
///
/// A region is inside from the first packet of one of its beacons, and outside when each of them
/// has been silent for as long as its packet gaps tell. Only regions that are inside, or of which
/// nothing is known yet, have a timer; it looks at most every 30 s.
class BeaconPresence {
 public:
  /// `limitChanged` is called when a region's silence limit is worth saving.
  BeaconPresence(Clock& clock, DispatchQueue& queue, BeaconTable& table, const RegionBook& book,
                 RegionReports& reports, std::function<void()> limitChanged);

  void add(MonitoredRegion& region);
  void remove(MonitoredRegion& region);
  void heard(const std::vector<MonitoredRegion*>& regions, Seconds time);
  /// Silence counts only while the device listens; it begins anew when listening resumes.
  void setListening(bool listening);
  bool isListening() const { return listening_; }
  bool hasRegions() const { return regions_ > 0; }

 private:
  void listen(MonitoredRegion& region);
  void arm(MonitoredRegion& region, Seconds now, Seconds delay);
  void look(MonitoredRegion& region, Seconds due);
  /// When the region's last beacon is given up.
  Seconds deadline(MonitoredRegion& region);

  Clock& clock_;
  DispatchQueue& queue_;
  BeaconTable& table_;
  const RegionBook& book_;
  RegionReports& reports_;
  std::function<void()> limitChanged_;
  bool listening_ = false;
  std::size_t regions_ = 0;
};

}  // namespace ks
