#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class KSProximityZone;

namespace ks::tool {

/// A zone as the portal's documents have it.
struct DocumentedZone {
  std::string zone;
  /// Empty for a zone without one.
  std::string content;
  /// "UUID:major:minor"; empty for a circle.
  std::string beacon;
};

/// What is known of the portal's zones.
struct KnownZones {
  std::vector<DocumentedZone> zones{};
  /// Whether these are all that the portal has, contents included; else those that a device was
  /// sent.
  bool areAll = false;
};

/// Returns the zones of a folder of portal documents; broken documents count as empty.
std::vector<DocumentedZone> documentedZones(const std::filesystem::path& folder);
/// Returns what a library holds.
KnownZones heldZones(const std::vector<std::shared_ptr<KSProximityZone>>& zones);

}  // namespace ks::tool
