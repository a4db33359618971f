#pragma once

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"

/// A message with a link to a web page.
class KSHTMLProximityZoneContent : public KSProximityZoneContent {
 public:
  static constexpr const char* kClassName = "KSHTMLProximityZoneContent";
  static const ks::Class kClass;

  /// URL of the page.
  std::optional<std::string> pageUrl;

  KSProximityZoneType type() const override { return KSProximityZoneType::html; }
  const ks::Class& objectClass() const override { return kClass; }
  std::string description() const override;
};
