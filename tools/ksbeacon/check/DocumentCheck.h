#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::tool {

/// Everything wrong with a folder of portal documents, in the order of documents and lines: what
/// each document's shape forbids, and what can be told only by looking at them together: repeated
/// identifiers and beacons, circles that overlap, references to unknown locations and categories,
/// contents that can never or hardly fire, dates that are over at `now`; or that there is no
/// document at all.
std::vector<portal::DocumentProblem> checkDocuments(const std::filesystem::path& folder, Date now);

/// The identifiers that a folder's beacons and circles have.
struct DocumentNames {
  std::set<std::string> zones;
  std::set<std::string> contents;
};

/// Nothing when one of the documents is broken.
std::optional<DocumentNames> documentNames(const std::filesystem::path& folder);

}  // namespace ks::tool
