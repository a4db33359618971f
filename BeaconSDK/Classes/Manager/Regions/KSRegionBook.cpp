#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"

#include <algorithm>
#include <boost/container_hash/hash.hpp>
#include <cstring>
#include <utility>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

std::size_t KSRegionBook::Region::IdentityHash::operator()(const Identity& identity) const {
  std::size_t seed = 0;
  if (identity.uuid) {
    std::uint64_t halves[2];
    std::memcpy(halves, identity.uuid->bytes.data(), sizeof halves);
    boost::hash_combine(seed, halves[0]);
    boost::hash_combine(seed, halves[1]);
  }
  boost::hash_combine(seed, identity.major);
  boost::hash_combine(seed, identity.minor);
  return seed;
}

std::shared_ptr<KSPrivateBeacon> KSRegionBook::knownOrAppended(
    const std::shared_ptr<KSPrivateBeacon>& beacon) {
  Region& region = regionOf(*beacon);
  // Beacons without a UUID are never taken for each other.
  const auto found = region.places_.find(Region::identityOf(*beacon));
  if (beacon->uuid() && found != region.places_.end()) return *found->second.front();
  append(region, beacon);
  return beacon;
}

std::shared_ptr<KSPrivateBeacon> KSRegionBook::addOrReplaceBeaconToBeaconRegions(
    const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto guard = lock();
  auto known = knownOrAppended(beacon);
  if (known != beacon) takeOver(known, *beacon);
  return known;
}

void KSRegionBook::takeOver(const std::shared_ptr<KSPrivateBeacon>& known,
                            const KSPrivateBeacon& beacon) {
  const auto guard = known->lock();
  const auto earlier = known->content();
  // The identifier of the content may change below.
  unindexContent(known);
  known->setState(beacon.state());
  known->setIdentifier(beacon.identifier());
  known->setLocationIdentifier(beacon.locationIdentifier());
  known->setName(beacon.name());
  known->setManufacturer(beacon.manufacturer());
  known->setManufacturerIdentifier(beacon.manufacturerIdentifier());
  known->setModel(beacon.model());
  known->setRefId(beacon.refId());
  known->setContent(beacon.content());
  known->setSchedule(beacon.schedule());
  known->setUuid(beacon.uuid());
  known->setLocationZone(beacon.locationZone());
  const bool isSameContent =
      earlier && known->content() && earlier->identifier == known->content()->identifier;
  if (!refinements_.exactStays || !isSameContent) {
    known->setProximity(beacon.proximity());
    known->setInRange(beacon.inRange());
  }
  known->setValidUntil(beacon.validUntil());
  indexContent(known);
  const auto& content = known->content();
  if (earlier && content) content->updateFromContent(*earlier);
}

ks::PrivateBeaconList KSRegionBook::replaceBeacons(const ks::PrivateBeaconList& earlier,
                                                   const ks::PrivateBeaconList& beacons) {
  for (const auto& beacon : earlier) removeBeaconFromBeaconRegions(*beacon);
  // A beacon that was ranged before it was listed keeps its object, and with it its run-time state.
  ks::PrivateBeaconList kept;
  kept.reserve(beacons.size());
  for (const auto& beacon : beacons) kept.push_back(addOrReplaceBeaconToBeaconRegions(beacon));
  return kept;
}

std::shared_ptr<KSPrivateBeacon> KSRegionBook::addUnlessKnown(
    const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto guard = lock();
  auto known = knownOrAppended(beacon);
  if (known != beacon && beacon->sentEnterEvent()) known->setSentEnterEvent(true);
  return known;
}

void KSRegionBook::removeBeaconFromBeaconRegions(const KSPrivateBeacon& beacon) {
  dwelling_.leave(beacon);
  const auto guard = lock();
  const auto region = regionsByKey_.find(beacon.regionKey());
  if (region != regionsByKey_.end()) remove(*region->second, beacon);
}

void KSRegionBook::remove(Region& region, const KSPrivateBeacon& beacon) {
  auto& places = region.places_;
  const auto found = places.find(Region::identityOf(beacon));
  if (found == places.end()) return;
  // Beacons may share the identity; only those with the same portal identifier leave.
  const auto leave = [&](Region::Place place) {
    if (!(*place)->isEqual(&beacon)) return false;
    unindexContent(*place);
    region.beacons_.erase(place);
    return true;
  };
  auto& same = found->second;
  same.erase(std::remove_if(same.begin(), same.end(), leave), same.end());
  if (found->second.empty()) places.erase(found);
}

void KSRegionBook::append(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto guard = lock();
  append(regionOf(*beacon), beacon);
}

void KSRegionBook::append(Region& region, const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto place = region.beacons_.insert(region.beacons_.end(), beacon);
  region.places_[Region::identityOf(*beacon)].push_back(place);
  indexContent(beacon);
}

const KSRegionBook::Region* KSRegionBook::regionWithKey(std::string_view key) const {
  const auto found = regionsByKey_.find(key);
  return found == regionsByKey_.end() ? nullptr : found->second;
}

std::shared_ptr<KSPrivateBeacon> KSRegionBook::find(const Region* region, const ks::UUID& uuid,
                                                    std::int64_t major, std::int64_t minor) {
  if (region == nullptr) return nullptr;
  const auto found = region->places_.find(Region::Identity{uuid, major, minor});
  return found == region->places_.end() ? nullptr : *found->second.front();
}

std::shared_ptr<KSPrivateBeacon> KSRegionBook::addOrReturnBeacon(
    std::shared_ptr<KSPrivateBeacon> cached, const ks::UUID& uuid, std::int64_t major,
    std::int64_t minor, const ks::CLBeaconRegion& region) {
  if (cached) return cached;
  kManagerLog("-[KSProximityManager addOrReturnBeacon:uuid:major:minor:forRegion:]",
              "No item found for beacon %@:%d;%d ; add one in cache", uuid, major, minor);
  auto beacon = std::make_shared<KSPrivateBeacon>();
  beacon->setUuid(uuid);
  beacon->setMajor(major);
  beacon->setMinor(minor);
  const auto guard = lock();
  Region& filed = regionForKey(KSPrivateBeacon::keyForBeaconRegion(region));
  makeRoom(filed);
  append(filed, beacon);
  filed.unknown_.push_back(beacon);
  return beacon;
}

void KSRegionBook::makeRoom(Region& region) {
  while (region.unknown_.size() >= kMostUnknownBeacons) {
    const auto oldest = region.unknown_.front().lock();
    region.unknown_.pop_front();
    // One with an identifier has become known since.
    if (oldest && !oldest->identifier()) remove(region, *oldest);
  }
}

std::optional<ks::PrivateBeaconList> KSRegionBook::beaconsInRegion(
    const ks::CLBeaconRegion& region) const {
  const auto guard = lock();
  const Region* const found = regionWithKey(KSPrivateBeacon::keyForBeaconRegion(region));
  if (found == nullptr) return std::nullopt;
  return ks::PrivateBeaconList(found->beacons_.begin(), found->beacons_.end());
}

std::shared_ptr<KSPrivateBeacon> KSRegionBook::beaconWithIdentifier(
    std::string_view identifier) const {
  const auto guard = lock();
  for (const Region& region : regions_) {
    for (const auto& beacon : region.beacons_) {
      if (beacon->identifier() == identifier) return beacon;
    }
  }
  return nullptr;
}

void KSRegionBook::shareRuntimeState(const KSPrivateBeacon& beacon) {
  const auto& content = beacon.content();
  if (!content || !content->identifier || content->identifier->empty()) return;
  const auto guard = lock();
  const auto found = beaconsByContent_.find(*content->identifier);
  if (found == beaconsByContent_.end()) return;
  for (const auto& other : found->second) {
    const auto& shared = other->content();
    // The identifier is the application's to change: what is filed may have left this content.
    if (!shared || shared->identifier != content->identifier) continue;
    if (!other->isEqualWithBeacon(beacon)) shared->updateFromContent(*content);
  }
}

void KSRegionBook::clear() {
  const auto guard = lock();
  beaconsByContent_.clear();
  latest_ = {};
  regionsByKey_.clear();
  regions_.clear();
}

KSRegionBook::Region& KSRegionBook::regionOf(const KSPrivateBeacon& beacon) {
  if (latest_.region == nullptr || latest_.uuid != beacon.uuid()) {
    latest_ = {beacon.uuid(), &regionForKey(beacon.regionKey())};
  }
  return *latest_.region;
}

KSRegionBook::Region& KSRegionBook::regionForKey(const std::string& key) {
  const auto found = regionsByKey_.find(key);
  if (found != regionsByKey_.end()) return *found->second;
  Region& region = regions_.emplace_back(key);
  regionsByKey_.emplace(region.key(), &region);
  return region;
}

void KSRegionBook::indexContent(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto& content = beacon->content();
  if (content && content->identifier) beaconsByContent_[*content->identifier].insert(beacon);
}

void KSRegionBook::unindexContent(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto& content = beacon->content();
  if (!content || !content->identifier) return;
  const auto found = beaconsByContent_.find(*content->identifier);
  if (found == beaconsByContent_.end()) return;
  found->second.erase(beacon);
  if (found->second.empty()) beaconsByContent_.erase(found);
}
