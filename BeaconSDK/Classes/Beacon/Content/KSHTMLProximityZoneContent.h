#pragma once

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"

/// A message that leads to a page.
class KSHTMLProximityZoneContent : public KSProximityZoneContent {
 public:
  static constexpr const char* kClassName = "KSHTMLProximityZoneContent";
  static const ks::Class kClass;

  /// The page to show.
  std::optional<std::string> pageUrl;

  KSProximityZoneType type() const override { return KSProximityZoneType::html; }
  const ks::Class& objectClass() const override { return kClass; }
  std::string description() const override;
};
