#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace ks::tool {

/// A zone as the portal's documents have it.
struct DocumentedZone {
  std::string zone;
  /// Empty for a zone without one.
  std::string content;
  /// "UUID:major:minor"; empty for a circle.
  std::string beacon;
};

/// Returns the zones of a folder of portal documents; broken documents count as empty.
std::vector<DocumentedZone> documentedZones(const std::filesystem::path& folder);

}  // namespace ks::tool
