#pragma once

#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingZones.h"
#include "BeaconSDK/Classes/Manager/Zones/ZoneTables.h"
#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"

/// The beacons known in each beacon region.
///
/// The order in which a region's beacons became known decides which is found first, so each region
/// keeps a list; an index by UUID, major and minor finds a ranged beacon in constant time. A second
/// index, by content identifier, finds the beacons that share a content. Changed on the main queue,
/// under the book's lock; the lock is recursive and comes after that of the zone cache's beacons
/// and before that of one beacon.
class KSRegionBook {
 public:
  KSRegionBook(KSDwellingZones& dwelling, const ks::Refinements& refinements)
      : dwelling_(dwelling), refinements_(refinements) {}

  /// Maximum number of ranged beacons without portal data per region. Anybody can send any number
  /// of majors and minors under a known UUID; beyond this the oldest is dropped, and requested
  /// again when it is ranged again.
  static constexpr std::size_t kMostUnknownBeacons = 4096;

  /// The beacons of one region, in the order in which they became known.
  class Region;

  [[nodiscard]] std::unique_lock<std::recursive_mutex> lock() const {
    return std::unique_lock(mutex_);
  }

  /// Copies the portal's data of `beacon` to a known beacon of the same UUID, major and minor and
  /// returns that; otherwise adds and returns `beacon` itself.
  std::shared_ptr<KSPrivateBeacon> addOrReplaceBeaconToBeaconRegions(
      const std::shared_ptr<KSPrivateBeacon>& beacon);
  /// Removes `earlier`, then adds each of `beacons`; returns the beacons that are now kept for
  /// them.
  ks::PrivateBeaconList replaceBeacons(const ks::PrivateBeaconList& earlier,
                                       const ks::PrivateBeaconList& beacons);
  /// Removes the beacons equal to `beacon` from its region and ends its dwelling time.
  void removeBeaconFromBeaconRegions(const KSPrivateBeacon& beacon);
  /// For restored beacons: a known beacon of the same UUID, major and minor is returned, entered if
  /// either was; otherwise `beacon` is added and returned.
  std::shared_ptr<KSPrivateBeacon> addUnlessKnown(const std::shared_ptr<KSPrivateBeacon>& beacon);
  /// Adds without looking for a known beacon.
  void append(const std::shared_ptr<KSPrivateBeacon>& beacon);

  /// Null when no beacon was ever added under the region. Valid until `clear`.
  const Region* regionWithKey(std::string_view key) const;
  /// The first beacon of `region`, which may be null, with this identity; null when there is none.
  static std::shared_ptr<KSPrivateBeacon> find(const Region* region, const ks::UUID& uuid,
                                               std::int64_t major, std::int64_t minor);
  /// Returns `cached` unless it is null; otherwise a new beacon of this identity, added under
  /// `region`.
  std::shared_ptr<KSPrivateBeacon> addOrReturnBeacon(std::shared_ptr<KSPrivateBeacon> cached,
                                                     const ks::UUID& uuid, std::int64_t major,
                                                     std::int64_t minor,
                                                     const ks::CLBeaconRegion& region);
  /// Returns a copy, in order; nothing when no beacon was ever added under the region.
  std::optional<ks::PrivateBeaconList> beaconsInRegion(const ks::CLBeaconRegion& region) const;
  /// The first beacon with this portal identifier, region by region; null when there is none.
  std::shared_ptr<KSPrivateBeacon> beaconWithIdentifier(std::string_view identifier) const;
  /// Copies the run-time state of the beacon's content to the same content on other beacons.
  void shareRuntimeState(const KSPrivateBeacon& beacon);
  void clear();

 private:
  using BeaconSet = boost::unordered_flat_set<std::shared_ptr<KSPrivateBeacon>>;

  Region& regionForKey(const std::string& key);
  /// The region under the beacon's `regionKey`.
  Region& regionOf(const KSPrivateBeacon& beacon);
  /// The beacon that is known by the identity of `beacon`, or `beacon` itself, appended.
  std::shared_ptr<KSPrivateBeacon> knownOrAppended(const std::shared_ptr<KSPrivateBeacon>& beacon);
  void append(Region& region, const std::shared_ptr<KSPrivateBeacon>& beacon);
  /// Drops the oldest unknown beacon when there are too many.
  void makeRoom(Region& region);
  void remove(Region& region, const KSPrivateBeacon& beacon);
  void takeOver(const std::shared_ptr<KSPrivateBeacon>& known, const KSPrivateBeacon& beacon);
  void indexContent(const std::shared_ptr<KSPrivateBeacon>& beacon);
  void unindexContent(const std::shared_ptr<KSPrivateBeacon>& beacon);

  KSDwellingZones& dwelling_;
  const ks::Refinements& refinements_;
  mutable std::recursive_mutex mutex_;
  /// In order of first filing; the second finds a region by its key.
  std::list<Region> regions_;
  std::unordered_map<std::string_view, Region*> regionsByKey_;
  /// What `regionOf` found last: the zones of a site mostly share one UUID.
  struct {
    std::optional<ks::UUID> uuid;
    Region* region = nullptr;
  } latest_;
  std::unordered_map<std::string, BeaconSet> beaconsByContent_;
};

class KSRegionBook::Region {
 public:
  explicit Region(std::string key) : key_(std::move(key)) {}

  const std::string& key() const { return key_; }

 private:
  friend class KSRegionBook;

  /// The identity in a beacon's advertisement.
  struct Identity {
    std::optional<ks::UUID> uuid;
    std::int64_t major;
    std::int64_t minor;
    friend bool operator==(const Identity&, const Identity&) = default;
  };
  struct IdentityHash {
    std::size_t operator()(const Identity& identity) const;
  };
  using Place = std::list<std::shared_ptr<KSPrivateBeacon>>::iterator;
  /// Nearly always one: a second arises when two locations' cached zones name the same beacon.
  using Places = boost::container::small_vector<Place, 1>;

  static Identity identityOf(const KSPrivateBeacon& beacon) {
    return {beacon.uuid(), beacon.major(), beacon.minor()};
  }

  std::string key_;
  std::list<std::shared_ptr<KSPrivateBeacon>> beacons_;
  boost::unordered_flat_map<Identity, Places, IdentityHash> places_;
  /// Beacons ranged without portal data, the oldest first; some may be known or removed by now.
  std::deque<std::weak_ptr<KSPrivateBeacon>> unknown_;
};
