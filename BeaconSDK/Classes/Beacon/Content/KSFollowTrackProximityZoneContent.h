#pragma once

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"

/// Content that is recorded and never announced to the application.
class KSFollowTrackProximityZoneContent : public KSProximityZoneContent {
 public:
  static constexpr const char* kClassName = "KSFollowTrackProximityZoneContent";
  static const ks::Class kClass;

  KSProximityZoneType type() const override { return KSProximityZoneType::followTrack; }
  const ks::Class& objectClass() const override { return kClass; }
};
