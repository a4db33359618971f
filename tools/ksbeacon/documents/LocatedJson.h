#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tools/ksbeacon/documents/InputError.h"

namespace ks::tool {

/// A value of a JSON document that knows the line it begins on, so that a mistake in a hand-written
/// file can be pointed at. Numbers are doubles: hand-written files hold no integer beyond 2^53.
struct JsonNode {
  using List = std::vector<JsonNode>;
  using Members = std::vector<std::pair<std::string, JsonNode>>;

  std::variant<std::nullptr_t, bool, double, std::string, List, Members> value = nullptr;
  int line = 1;

  const bool* boolean() const { return std::get_if<bool>(&value); }
  const double* number() const { return std::get_if<double>(&value); }
  const std::string* string() const { return std::get_if<std::string>(&value); }
  const List* list() const { return std::get_if<List>(&value); }
  const Members* members() const { return std::get_if<Members>(&value); }

  /// The value as a message shows it: "text \"far\"", "-1", "a list".
  std::string inWords() const;

  /// The line of the value at `member` ("[2].content.proximity"); where there is none, that of the
  /// innermost value around it.
  int lineOf(std::string_view member) const;
};

/// Bounds for documents that somebody wrote by hand or a script made.
inline constexpr std::size_t kMaximumDocumentBytes = 4UL * 1024 * 1024;
inline constexpr std::size_t kMaximumDocumentDepth = 32;

struct LocatedJsonOptions {
  std::size_t maximumBytes = kMaximumDocumentBytes;
  /// Takes a member that is given twice in one object, which is a mistake otherwise.
  bool repeatedMembers = false;
};

/// Reads a JSON document (strict JSON, UTF-8, an optional byte-order mark). `file` only names the
/// document in messages.
std::variant<JsonNode, InputError> parseLocatedJson(std::string_view text, const std::string& file,
                                                    const LocatedJsonOptions& options = {});

/// The same for the content of `path`.
std::variant<JsonNode, InputError> readLocatedJson(const std::string& path);

}  // namespace ks::tool
