#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Location/ManagerList.h"
#include "BeaconSDK/Platform/Location/Regions/PacketGaps.h"

namespace ks {

/// A watched region and what is known of it.
struct MonitoredRegion {
  /// Increases in the order in which monitoring began; never reused within a run.
  std::uint64_t id = 0;
  /// In the list that was saved last.
  std::uint32_t place = 0;
  std::shared_ptr<const CLRegion> region;
  /// The region as what it is: one of these is set.
  const CLCircularRegion* circle = nullptr;
  const CLBeaconRegion* beacons = nullptr;
  /// False from the moment when monitoring ended.
  bool watched = true;

  CLRegionState state = CLRegionState::unknown;
  /// What the application was told, in this run or an earlier one.
  CLRegionState reported = CLRegionState::unknown;
  /// There was evidence in this run.
  bool confirmed = false;
  /// A report waits for a delegate.
  bool reportWaits = false;
  /// Who asked for the state and has had no answer.
  std::vector<std::weak_ptr<ManagerState>> requesters;
  Wakeup requestTimeout;

  /// Beacons: when the last packet came, or the listening began.
  Seconds heard{0};
  /// The last packet while the device was not known to be inside.
  std::optional<Seconds> heardWeak{};
  /// The silence that ended the stay of its slowest beacon, as far as earlier runs know.
  Seconds silenceLimit = kLeastSilence;
  /// Looks whether the silence has become too long.
  Wakeup silence;

  void setRegion(std::shared_ptr<const CLRegion> value);
};

/// A region that can be watched: it has an identifier, and a circle has a place and an extent.
bool isMonitorable(const CLRegion& region);
/// True when both describe the same place or beacons, whatever their identifiers and flags.
bool haveSameShape(const MonitoredRegion& a, const MonitoredRegion& b);

/// The watched regions by identifier and by number.
class RegionRegistry {
 public:
  /// The identifier must not be in the book.
  std::shared_ptr<MonitoredRegion> add(std::shared_ptr<MonitoredRegion> region);
  void remove(const MonitoredRegion& region);
  /// Null when there is none.
  std::shared_ptr<MonitoredRegion> find(std::string_view identifier) const;
  std::shared_ptr<MonitoredRegion> find(std::uint64_t id) const;
  /// In the order in which monitoring began.
  const std::map<std::uint64_t, std::shared_ptr<MonitoredRegion>>& all() const { return byId_; }

 private:
  /// Regions by their identifiers, which stand in the regions alone: a list may be long.
  struct Identifiers {
    using is_transparent = void;
    static std::string_view of(const MonitoredRegion* region) {
      return region->region->identifier();
    }
    static std::string_view of(std::string_view identifier) { return identifier; }
    std::size_t operator()(const auto& key) const { return std::hash<std::string_view>{}(of(key)); }
    bool operator()(const auto& a, const auto& b) const { return of(a) == of(b); }
  };

  std::uint64_t lastId_ = 0;
  std::map<std::uint64_t, std::shared_ptr<MonitoredRegion>> byId_;
  boost::unordered_flat_set<const MonitoredRegion*, Identifiers, Identifiers> byIdentifier_;
};

}  // namespace ks
