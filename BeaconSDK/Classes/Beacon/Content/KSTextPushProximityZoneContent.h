#pragma once

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"

/// A plain message.
class KSTextPushProximityZoneContent : public KSProximityZoneContent {
 public:
  static constexpr const char* kClassName = "KSTextPushProximityZoneContent";
  static const ks::Class kClass;

  KSProximityZoneType type() const override { return KSProximityZoneType::textPush; }
  const ks::Class& objectClass() const override { return kClass; }
};
