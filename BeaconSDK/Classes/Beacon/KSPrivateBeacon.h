#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSProximitySchedule.h"
#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/UUID.h"

/// Progress of fetching a beacon's content.
enum class KSPrivateBeaconState : std::int32_t {
  /// Known only by UUID, major and minor; its content was never requested.
  fresh = 0,
  fetchingContent = 1,
  contentFetched = 2,
  /// The portal has no content for it, or does not know the beacon.
  noContent = 3,
};

/// One beacon zone: a beacon registered on the portal, its content and its last sightings.
///
/// Beacons are equal by `key`: portal identifier, UUID, minor and major. The fields are not
/// synchronized; `lock` lets the engine make one decision about a beacon at a time.
class KSPrivateBeacon : public KSProximityZone {
 public:
  static constexpr const char* kClassName = "KSPrivateBeacon";
  static const ks::Class kClass;

  /// A fetch without a reply for this many seconds counts as hung.
  static constexpr double kFetchHungAfterSeconds = 150;
  /// Seconds until the content of a beacon in state `noContent` is requested again.
  static constexpr double kNoContentRetrySeconds = 600;

  /// "identifier:UUID_minor_major"; absent parts print as "(null)".
  static std::string keyFromIdentifier(const std::optional<std::string>& identifier,
                                       const std::optional<ks::UUID>& uuid, std::int64_t minor,
                                       std::int64_t major);
  /// Returns the key of all beacons with the region's proximity UUID.
  static std::string keyForBeaconRegion(const ks::CLBeaconRegion& region);
  /// Returns this beacon's key in caches.
  std::string key() const;
  /// "region:UUID_0_0": the same for all beacons that share the UUID.
  std::string regionKey() const;

  /// True when content was never requested, the fetch has hung, or the fetched content is outdated.
  bool shouldFetchContent() const;
  /// True when UUID, major and minor are equal, whatever the portal identifiers.
  bool isEqualWithBeacon(const KSPrivateBeacon& other) const;
  /// Compares the proximity UUID only.
  bool matchesBeaconRegion(const ks::CLBeaconRegion& region) const;

  /// Locks the beacon while a decision about it is made. Recursive.
  [[nodiscard]] std::unique_lock<std::recursive_mutex> lock() const {
    return std::unique_lock(mutex_);
  }

  // KSProximityZone
  const std::optional<std::string>& identifier() const override { return identifier_; }
  void setIdentifier(std::optional<std::string> value) override { identifier_ = std::move(value); }
  const std::optional<std::string>& name() const override { return name_; }
  void setName(std::optional<std::string> value) override { name_ = std::move(value); }
  const std::optional<std::string>& refId() const override { return refId_; }
  void setRefId(std::optional<std::string> value) override { refId_ = std::move(value); }
  const std::shared_ptr<KSProximityZoneContent>& content() const override { return content_; }
  void setContent(std::shared_ptr<KSProximityZoneContent> value) { content_ = std::move(value); }
  std::int64_t contentType() const override;
  const KSPrivateBeacon* asBeacon() const override { return this; }

  /// When the beacon came into range; absent while it is out of range.
  const std::optional<ks::Date>& inRangeSince() const { return inRangeSince_; }
  /// When its proximity last changed to a known value.
  const std::optional<ks::Date>& inProximitySince() const { return inProximitySince_; }
  bool inRange() const { return inRange_; }
  /// When it was last ranged in this run of the process; not archived.
  const std::optional<ks::Date>& lastSeenOn() const { return lastSeenOn_; }
  void setLastSeenOn(ks::Date date) { lastSeenOn_ = date; }
  /// Copies the stay of an earlier object for the same beacon.
  void continueStay(const KSPrivateBeacon& earlier);
  /// A change to true records the time; a change to false clears it and sets the proximity to
  /// unknown.
  void setInRange(bool flag);
  /// True when an enter statistic was posted for the current stay.
  bool sentEnterEvent() const { return sentEnterEvent_; }
  void setSentEnterEvent(bool flag) { sentEnterEvent_ = flag; }
  KSPrivateBeaconState state() const { return state_; }
  /// Also records when a fetch began and when its reply arrived.
  void setState(KSPrivateBeaconState state);
  std::int64_t major() const { return major_; }
  void setMajor(std::int64_t value) { major_ = value; }
  std::int64_t minor() const { return minor_; }
  void setMinor(std::int64_t value) { minor_ = value; }
  /// The location that the beacon belongs to.
  const std::optional<std::string>& locationIdentifier() const { return locationIdentifier_; }
  void setLocationIdentifier(std::optional<std::string> value) {
    locationIdentifier_ = std::move(value);
  }
  const std::optional<std::string>& manufacturer() const { return manufacturer_; }
  void setManufacturer(std::optional<std::string> value) { manufacturer_ = std::move(value); }
  /// The manufacturer's identifier of the device.
  const std::optional<std::string>& manufacturerIdentifier() const {
    return manufacturerIdentifier_;
  }
  void setManufacturerIdentifier(std::optional<std::string> value) {
    manufacturerIdentifier_ = std::move(value);
  }
  const std::optional<std::string>& model() const { return model_; }
  void setModel(std::optional<std::string> value) { model_ = std::move(value); }
  const std::shared_ptr<KSProximitySchedule>& schedule() const { return schedule_; }
  void setSchedule(std::shared_ptr<KSProximitySchedule> value) { schedule_ = std::move(value); }
  const std::optional<ks::UUID>& uuid() const { return uuid_; }
  void setUuid(std::optional<ks::UUID> value) { uuid_ = value; }
  /// The name of the zone within the location.
  const std::optional<std::string>& locationZone() const { return locationZone_; }
  void setLocationZone(std::optional<std::string> value) { locationZone_ = std::move(value); }
  /// 0 unknown, 1 immediate, 2 near, 3 far.
  std::int64_t proximity() const { return proximity_; }
  /// A change to a known value records the time.
  void setProximity(std::int64_t proximity);
  /// End of the fetched content's validity.
  const std::optional<ks::Date>& validUntil() const { return validUntil_; }
  void setValidUntil(std::optional<ks::Date> value) { validUntil_ = value; }
  const std::optional<ks::Date>& contentFetchingSince() const { return contentFetchingSince_; }
  /// When the portal last replied, with or without content.
  const std::optional<ks::Date>& contentFetchedSince() const { return contentFetchedSince_; }

  const ks::Class& objectClass() const override { return kClass; }
  bool isEqual(const ks::Object* other) const override;
  std::size_t hash() const override;
  std::string description() const override;

 private:
  mutable std::recursive_mutex mutex_;
  std::optional<ks::Date> inRangeSince_;
  std::optional<ks::Date> inProximitySince_;
  bool inRange_ = false;
  bool sentEnterEvent_ = false;
  KSPrivateBeaconState state_ = KSPrivateBeaconState::fresh;
  std::int64_t major_ = 0;
  std::int64_t minor_ = 0;
  std::optional<std::string> locationIdentifier_;
  std::optional<std::string> identifier_;
  std::optional<std::string> name_;
  std::optional<std::string> manufacturer_;
  std::optional<std::string> manufacturerIdentifier_;
  std::optional<std::string> model_;
  std::optional<std::string> refId_;
  std::shared_ptr<KSProximityZoneContent> content_;
  std::shared_ptr<KSProximitySchedule> schedule_;
  std::optional<ks::UUID> uuid_;
  std::optional<std::string> locationZone_;
  std::int64_t proximity_ = 0;
  std::optional<ks::Date> validUntil_;
  std::optional<ks::Date> contentFetchingSince_;
  std::optional<ks::Date> contentFetchedSince_;
  std::optional<ks::Date> lastSeenOn_;
};
