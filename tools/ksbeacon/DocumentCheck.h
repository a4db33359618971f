#pragma once

#include <filesystem>
#include <vector>

#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::tool {

/// Everything wrong with a folder of portal documents, in the order of documents and lines: what
/// each document's shape forbids, and what can be told only by looking at them together: repeated
/// identifiers and beacons, circles that overlap, references to unknown locations and categories,
/// contents that can never fire.
std::vector<portal::DocumentProblem> checkDocuments(const std::filesystem::path& folder);

}  // namespace ks::tool
