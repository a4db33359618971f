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

  /// The identifier of the monitored region, absent without one; what `setIdentifier` stored is
  /// kept but not answered.
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

  /// The device is inside.
  bool inRange() const { return inRange_; }
  /// True notes the time even when the device was inside before; false forgets it. Unlike a
  /// beacon's, a repeated true restarts the stay.
  void setInRange(bool flag);
  /// Takes over the stay, and the run-time state of the same content, of the object whose place
  /// this one takes.
  void continueStay(const KSGeofence& earlier);
  /// An enter statistic was posted for the current stay.
  bool sentEnterEvent() const { return sentEnterEvent_; }
  void setSentEnterEvent(bool flag) { sentEnterEvent_ = flag; }
  /// Centre, radius and identifier as handed to the location service.
  const std::shared_ptr<ks::CLCircularRegion>& monitoringRegion() const {
    return monitoringRegion_;
  }
  void setMonitoringRegion(std::shared_ptr<ks::CLCircularRegion> region);
  /// Until when the content is valid.
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
