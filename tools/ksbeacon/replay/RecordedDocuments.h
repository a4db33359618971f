#pragma once

#include <boost/json/object.hpp>
#include <filesystem>
#include <map>
#include <string>

#include "BeaconSDK/Platform/Recorded/RecordedEvent.h"

namespace ks::tool {

/// Collects the portal's documents from the replies of a recording: all items, the latest of each
/// identifier.
class RecordedDocuments {
 public:
  /// Adds the items of a reply; ignores other entries and replies of other URLs.
  void note(const RecordedEvent& download, const std::string& portalURL);

  /// Writes the documents into `folder`, which must exist. Returns false on failure.
  bool write(const std::filesystem::path& folder) const;

 private:
  /// By the name of the file, then by identifier.
  std::map<std::string, std::map<std::string, boost::json::object>> items_;
};

}  // namespace ks::tool
