#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"

#include <cmath>
#include <utility>

namespace ks {

void MonitoredRegion::setRegion(std::shared_ptr<const CLRegion> value) {
  region = std::move(value);
  circle = dynamic_cast<const CLCircularRegion*>(region.get());
  beacons = dynamic_cast<const CLBeaconRegion*>(region.get());
}

bool isMonitorable(const CLRegion& region) {
  if (region.identifier().empty()) return false;
  if (dynamic_cast<const CLBeaconRegion*>(&region)) return true;
  const auto* circle = dynamic_cast<const CLCircularRegion*>(&region);
  if (circle == nullptr) return false;
  const auto [latitude, longitude] = circle->center();
  // Written so that NaN fails.
  return std::abs(latitude) <= 90 && std::abs(longitude) <= 180 && circle->radius().value > 0;
}

bool haveSameShape(const MonitoredRegion& a, const MonitoredRegion& b) {
  if (a.circle && b.circle) {
    return a.circle->center() == b.circle->center() && a.circle->radius() == b.circle->radius();
  }
  return a.beacons && b.beacons && a.beacons->proximityUUID() == b.beacons->proximityUUID() &&
         a.beacons->major() == b.beacons->major() && a.beacons->minor() == b.beacons->minor();
}

std::shared_ptr<MonitoredRegion> RegionRegistry::add(std::shared_ptr<MonitoredRegion> region) {
  region->id = ++lastId_;
  byIdentifier_.insert(region.get());
  byId_[region->id] = region;
  return region;
}

void RegionRegistry::remove(const MonitoredRegion& region) {
  byIdentifier_.erase(&region);
  byId_.erase(region.id);
}

std::shared_ptr<MonitoredRegion> RegionRegistry::find(std::string_view identifier) const {
  const auto found = byIdentifier_.find(identifier);
  return found == byIdentifier_.end() ? nullptr : find((*found)->id);
}

std::shared_ptr<MonitoredRegion> RegionRegistry::find(std::uint64_t id) const {
  const auto found = byId_.find(id);
  return found == byId_.end() ? nullptr : found->second;
}

}  // namespace ks
