#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/ksbeacon/documents/LocatedJson.h"

namespace ks::tool {

/// Collects the first mistake of a document; everything read after it is of no interest.
class Mistakes {
 public:
  explicit Mistakes(std::string file) : file_(std::move(file)) {}

  void add(const JsonNode& node, std::string member, std::string expected);
  /// A mistake in a file that the document names.
  void add(InputError mistake);
  const std::optional<InputError>& first() const { return first_; }

 private:
  std::string file_;
  std::optional<InputError> first_;
};

/// Reads the members of one object of a hand-written document. Every operation answers a harmless
/// value after a mistake, so that reading code needs no branches: the caller looks at the mistakes
/// once, at the end.
class ObjectReader {
 public:
  /// What a number has to be; `unit` is for the message: " m/s".
  struct Range {
    double least;
    double most;
    const char* unit = "";
  };

  /// Members other than `known` are a mistake, and so is a node that is no object.
  ObjectReader(const JsonNode& node, std::string path, Mistakes& mistakes,
               std::initializer_list<std::string_view> known);

  /// The members may have any name.
  ObjectReader(const JsonNode& node, std::string path, Mistakes& mistakes);

  std::vector<std::string> names() const;
  bool has(std::string_view name) const { return find(name) != nullptr; }
  /// A member that must be there and be an object.
  const JsonNode& section(std::string_view name);
  const JsonNode* find(std::string_view name) const;
  const JsonNode& node() const { return node_; }
  /// "beacons[2].major".
  std::string pathOf(std::string_view name) const;

  double number(std::string_view name, Range range, std::optional<double> fallback = std::nullopt);
  std::int64_t integer(std::string_view name, Range range,
                       std::optional<std::int64_t> fallback = std::nullopt);
  bool flag(std::string_view name, bool fallback);
  /// Text that is not empty.
  std::string text(std::string_view name, std::optional<std::string> fallback = std::nullopt);
  /// One of `choices`, as its index.
  std::size_t choice(std::string_view name, const std::vector<std::string>& choices,
                     std::optional<std::size_t> fallback = std::nullopt);
  /// Calls `read` with each item of a list and its path; a missing list is empty.
  void each(std::string_view name,
            const std::function<void(const JsonNode& item, const std::string& path)>& read);
  /// Reports a mistake at a member, or at the object where the member is missing.
  void fail(std::string_view name, const std::string& expected);

  Mistakes& mistakes() { return mistakes_; }

 private:
  const JsonNode* require(std::string_view name, bool optional, const std::string& expected);

  const JsonNode& node_;
  std::string path_;
  Mistakes& mistakes_;
};

}  // namespace ks::tool
