#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "tools/ksbeacon/explanation/Explanation.h"

namespace ks::tool {

/// What is asked of a scenario or a recording.
struct WhyQuestion {
  /// Identifier of a content or a zone.
  std::string subject;
  /// A scenario when it ends with ".json", else a recording.
  std::filesystem::path file;
  /// Of the timeline; absent: at the end.
  std::optional<Seconds> at;
  /// The portal's documents. Empty: a scenario's own, and none for a recording.
  std::filesystem::path documents;
  /// The one that is meant, of several in a scenario.
  std::string device{};
};

/// Lives through the file up to the moment. Returns the answer, or why there is none. Occupies the
/// process's platform meanwhile.
std::variant<WhyAnswer, std::string> explainFile(const WhyQuestion& question);

/// The answer as one JSON object without a line end: "fired", "links" and "conclusion".
std::string whyJson(const WhyAnswer& answer);

}  // namespace ks::tool
