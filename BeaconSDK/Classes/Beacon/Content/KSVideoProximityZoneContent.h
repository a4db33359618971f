#pragma once

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"

/// A message with a link to a video.
class KSVideoProximityZoneContent : public KSProximityZoneContent {
 public:
  static constexpr const char* kClassName = "KSVideoProximityZoneContent";
  static const ks::Class kClass;

  /// URL of the video.
  std::optional<std::string> videoUrl;

  KSProximityZoneType type() const override { return KSProximityZoneType::video; }
  const ks::Class& objectClass() const override { return kClass; }
  std::string description() const override;
};
