#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Classes/Manager/Zones/KSBlockedContents.h"
#include "BeaconSDK/Classes/Manager/Zones/KSCacheFile.h"
#include "BeaconSDK/Classes/Manager/Zones/ZoneTables.h"

/// The local copy of the portal's data: locations, the beacon zones of each, geofence zones, and
/// beacons by manufacturer identifier; with the cache files of the first two.
///
/// Changed on the main queue only. Beacon zones and geofences are also read on other threads, so
/// code that changes them, or reads them off the main queue, holds the lock of the collection.
class KSZoneCache {
 public:
  KSZoneCache(ks::Platform& platform, const KSObserverSlot& observer,
              KSBlockedContents& blockedContents);

  const ks::LocationList& locations() const { return locations_; }
  void setLocations(ks::LocationList locations) { locations_ = std::move(locations); }
  /// The location with this identifier, or null.
  std::shared_ptr<KSLocation> locationWithIdentifier(std::string_view identifier) const;
  void loadLocations() { locationsFile_.load(); }
  void saveLocations() { locationsFile_.saveSoon(); }

  std::recursive_mutex& beaconsMutex() const { return beaconsMutex_; }
  const ks::PrivateBeaconTable& beaconsForLocation() const { return beaconsForLocation_; }
  /// A copy; empty when the location has none.
  ks::PrivateBeaconList zonesOfLocation(const std::string& identifier) const;
  /// Replaces the location's zones at `now`: applies the blocked contents to the new ones, files
  /// them by manufacturer, and saves. Returns the location, or null when it is not listed.
  std::shared_ptr<KSLocation> replaceZonesOfLocation(const std::string& identifier,
                                                     ks::PrivateBeaconList beacons, ks::Date now);
  /// How many locations' lists hold this very object.
  int listsHolding(const KSPrivateBeacon& beacon) const;
  /// Reads the file, applies the blocked contents to it and files the beacons by manufacturer.
  /// `merge` may return another object for a beacon, which then takes its place.
  using Merge =
      std::function<std::shared_ptr<KSPrivateBeacon>(const std::shared_ptr<KSPrivateBeacon>&)>;
  void loadBeaconsForLocation(Merge merge);
  void saveBeaconsForLocation() { beaconsFile_.saveSoon(); }

  /// Applies the blocked contents to a beacon with new content and files it by manufacturer.
  void admit(const std::shared_ptr<KSPrivateBeacon>& beacon);
  std::shared_ptr<KSPrivateBeacon> beaconForManufacturerId(const std::string& identifier) const;

  std::mutex& geofencesMutex() const { return geofencesMutex_; }
  ks::GeofenceTable& prefetchGeofences() { return prefetchGeofences_; }
  const ks::GeofenceTable& prefetchGeofences() const { return prefetchGeofences_; }
  /// Applies the blocked contents and replaces the geofence of the same region, which must not be
  /// null. Takes the lock.
  void setGeofence(const std::shared_ptr<KSGeofence>& geofence);
  /// Null when there is none. Takes the lock.
  std::shared_ptr<KSGeofence> geofenceForRegion(std::string_view regionIdentifier) const;

  /// The zones that the device is in: beacons by location, then geofences; nothing when it is in
  /// none. Takes both locks, one after the other. Any thread.
  std::optional<std::vector<std::shared_ptr<KSProximityZone>>> enteredZones() const;
  /// Beacon zones, each once, by location, then geofences. Takes both locks. Any thread.
  std::vector<std::shared_ptr<KSProximityZone>> knownZones() const;
  /// Locations, beacon zones and manufacturer identifiers; geofences and files stay.
  void forgetNeighbourhood();
  /// Beacon zones and geofences, each once.
  std::size_t zonesKnown() const;
  /// Writes nothing any more.
  void forgetHeld() {
    locationsFile_.discard();
    beaconsFile_.discard();
  }

 private:
  /// Beacons without a manufacturer identifier are left out.
  void fileByManufacturer(const std::shared_ptr<KSPrivateBeacon>& beacon);
  void removeManufacturerOf(const KSPrivateBeacon& beacon);
  void setZones(const std::string& identifier, ks::PrivateBeaconList beacons);
  void count(const ks::PrivateBeaconList& beacons, int change);

  void restoreBeacons(const ks::Value& stored);
  ks::Value beaconsToStore() const;

  KSBlockedContents& blockedContents_;
  ks::LocationList locations_;
  mutable std::recursive_mutex beaconsMutex_;
  Merge merge_;
  ks::PrivateBeaconTable beaconsForLocation_;
  /// The same lists as their file holds them, made once: a write shares them with the main queue
  /// instead of copying 100,000 zones in one turn.
  std::unordered_map<std::string, ks::Value> storedBeacons_;
  /// How many lists hold each object.
  boost::unordered_flat_map<const KSPrivateBeacon*, int> listsHolding_;
  std::unordered_map<std::string, std::shared_ptr<KSPrivateBeacon>> beaconsForManufacturerId_;
  mutable std::mutex geofencesMutex_;
  ks::GeofenceTable prefetchGeofences_;
  KSCacheFile locationsFile_;
  KSCacheFile beaconsFile_;
};
