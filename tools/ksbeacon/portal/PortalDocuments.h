#pragma once

#include <boost/json/array.hpp>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ksbeacon/documents/LocatedJson.h"
#include "tools/ksbeacon/portal/PortalSchema.h"

namespace ks::portal {

/// One thing wrong in a document.
struct DocumentProblem {
  std::filesystem::path file;
  /// From 1; 0 when the file as a whole is meant.
  int line = 0;
  /// "[2].content.proximity"; empty when the document as a whole is meant.
  std::string member;
  /// What is wrong and what was expected.
  std::string message;

  /// "beacons.json:14: [2].content.proximity: expected ...".
  std::string description() const;
};

/// A document of the portal: a JSON array of objects of one kind.
struct PortalDocument {
  DocumentKind kind = DocumentKind::categories;
  std::filesystem::path file;
  /// Whether the folder has anything of this name.
  bool exists = true;
  std::string text;
  boost::json::array items;
  /// Everything wrong with it; empty for a good one.
  std::vector<DocumentProblem> problems;

  /// The line on which the value at `member` ("[2].content.proximity") begins, or the innermost
  /// value around it. The first call reads the text again.
  int lineOf(std::string_view member);

 private:
  std::optional<tool::JsonNode> located_;
};

/// Documents above this size are refused.
inline constexpr std::size_t kMaximumDocumentSize = 64UL * 1024 * 1024;

/// Reads and checks one file. A missing file is an empty document. Never throws: whatever is wrong
/// is in `problems`, and `items` is empty when the text is not a JSON array.
PortalDocument readDocument(DocumentKind kind, const std::filesystem::path& folder);

/// As `readDocument`, for text that came from elsewhere; `file` is only named in problems.
PortalDocument parseDocument(DocumentKind kind, const std::filesystem::path& file,
                             std::string text);

}  // namespace ks::portal
