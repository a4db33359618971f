#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"
#include "BeaconSDK/Platform/Api/Object.h"

class KSGeofence;
class KSPrivateBeacon;

/// A place where content can fire: a beacon or a geofence. The engine, the statistics and the
/// application treat both alike through this interface.
class KSProximityZone : public ks::Object {
 public:
  /// Archives store a property of this type under the root class, because the interface has no
  /// class of its own.
  static constexpr const char* kClassName = "NSObject";

  /// Zone kinds, numbered as in the portal's statistics and the application's notifications.
  enum class Kind : std::int32_t { beacon = 3, geofence = 4 };

  /// The zone's identifier on the portal.
  virtual const std::optional<std::string>& identifier() const = 0;
  virtual void setIdentifier(std::optional<std::string> identifier) = 0;
  virtual const std::optional<std::string>& name() const = 0;
  virtual void setName(std::optional<std::string> name) = 0;
  /// The portal's reference identifier.
  virtual const std::optional<std::string>& refId() const = 0;
  virtual void setRefId(std::optional<std::string> refId) = 0;
  /// Null when the zone has none.
  virtual const std::shared_ptr<KSProximityZoneContent>& content() const = 0;
  /// The number of the zone's `Kind`.
  virtual std::int64_t contentType() const = 0;

  /// The zone as a beacon, or null.
  virtual const KSPrivateBeacon* asBeacon() const { return nullptr; }
  /// The zone as a geofence, or null.
  virtual const KSGeofence* asGeofence() const { return nullptr; }
};
