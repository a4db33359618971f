#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSProximitySchedule.h"
#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"

/// One geofence zone: a circle on the map with content. Its identity is the object itself: two
/// geofences are never equal, whatever they hold.
class KSGeofence : public KSProximityZone {
 public:
  static constexpr const char* kClassName = "KSGeofence";
  static const ks::Class kClass;

  /// Identifier of the monitored region; absent without one. A value stored by `setIdentifier` is
  /// kept but not returned.
  const std::optional<std::string>& identifier() const override { return regionIdentifier_; }
  void setIdentifier(std::optional<std::string> value) override { identifier_ = std::move(value); }
  const std::optional<std::string>& name() const override { return name_; }
  void setName(std::optional<std::string> value) override { name_ = std::move(value); }
  /// Always "".
  const std::optional<std::string>& refId() const override;
  void setRefId(std::optional<std::string> value) override { refId_ = std::move(value); }
  const std::shared_ptr<KSProximityZoneContent>& content() const override { return content_; }
  void setContent(std::shared_ptr<KSProximityZoneContent> value) { content_ = std::move(value); }
  std::int64_t contentType() const override;
  const KSGeofence* asGeofence() const override { return this; }

  /// True while the device is inside.
  bool inRange() const { return inRange_; }
  /// True records the time, also if the device was inside before, so a repeated true restarts the
  /// stay, unlike a beacon's; false clears the time.
  void setInRange(bool flag);
  /// Copies the stay and, for the same content, the run-time state of the object that this one
  /// replaces.
  void continueStay(const KSGeofence& earlier);
  /// True when an enter statistic was posted for the current stay.
  bool sentEnterEvent() const { return sentEnterEvent_; }
  void setSentEnterEvent(bool flag) { sentEnterEvent_ = flag; }
  /// Centre, radius and identifier as passed to the location service.
  const std::shared_ptr<ks::CLCircularRegion>& monitoringRegion() const {
    return monitoringRegion_;
  }
  void setMonitoringRegion(std::shared_ptr<ks::CLCircularRegion> region);
  /// End of the content's validity.
  const std::optional<ks::Date>& validUntil() const { return validUntil_; }
  void setValidUntil(std::optional<ks::Date> value) { validUntil_ = value; }
  const std::shared_ptr<KSProximitySchedule>& schedule() const { return schedule_; }
  void setSchedule(std::shared_ptr<KSProximitySchedule> value) { schedule_ = std::move(value); }
  /// When the device was last seen entering; absent while it is outside.
  const std::optional<ks::Date>& inRangeSince() const { return inRangeSince_; }
  void setInRangeSince(std::optional<ks::Date> value) { inRangeSince_ = value; }

  const ks::Class& objectClass() const override { return kClass; }

 private:
  bool inRange_ = false;
  bool sentEnterEvent_ = false;
  std::shared_ptr<ks::CLCircularRegion> monitoringRegion_;
  std::optional<std::string> regionIdentifier_;
  std::optional<ks::Date> validUntil_;
  std::optional<std::string> name_;
  std::shared_ptr<KSProximityZoneContent> content_;
  std::shared_ptr<KSProximitySchedule> schedule_;
  std::optional<ks::Date> inRangeSince_;
  std::optional<std::string> identifier_;
  std::optional<std::string> refId_;
};
