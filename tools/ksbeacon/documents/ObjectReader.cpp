#include "tools/ksbeacon/documents/ObjectReader.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

#include "BeaconSDK/Platform/Api/Value.h"
#include "tools/ksbeacon/output/Suggestion.h"

namespace ks::tool {

namespace {

std::string inWords(ObjectReader::Range range, const char* what) {
  return fmt::format("{} from {} to {}{}", what, numberDescription(range.least),
                     numberDescription(range.most), range.unit);
}

}  // namespace

void Mistakes::add(const JsonNode& node, std::string member, std::string expected) {
  if (!first_) first_ = InputError{file_, node.line, std::move(member), std::move(expected)};
}

void Mistakes::add(InputError mistake) {
  if (!first_) first_ = std::move(mistake);
}

ObjectReader::ObjectReader(const JsonNode& node, std::string path, Mistakes& mistakes,
                           std::initializer_list<std::string_view> known)
    : ObjectReader(node, std::move(path), mistakes) {
  if (node.members() == nullptr) return;
  for (const auto& [name, value] : *node.members()) {
    if (std::ranges::find(known, name) == known.end()) {
      mistakes_.add(value, pathOf(name),
                    fmt::format("expected no such member; known are {}{}", fmt::join(known, ", "),
                                suggestion(name, {known.begin(), known.end()})));
    }
  }
}

ObjectReader::ObjectReader(const JsonNode& node, std::string path, Mistakes& mistakes)
    : node_(node), path_(std::move(path)), mistakes_(mistakes) {
  if (node.members() == nullptr) {
    mistakes_.add(node, path_, "expected an object, got " + node.inWords());
  }
}

std::vector<std::string> ObjectReader::names() const {
  std::vector<std::string> names;
  if (node_.members() == nullptr) return names;
  for (const auto& [name, value] : *node_.members()) names.push_back(name);
  return names;
}

const JsonNode& ObjectReader::section(std::string_view name) {
  static const JsonNode kNothing{JsonNode::Members{}, 0};
  const JsonNode* const found = require(name, false, "an object");
  return found == nullptr ? kNothing : *found;
}

const JsonNode* ObjectReader::find(std::string_view name) const {
  if (node_.members() == nullptr) return nullptr;
  const auto found = std::ranges::find(
      *node_.members(), name, [](const auto& member) -> const auto& { return member.first; });
  return found == node_.members()->end() ? nullptr : &found->second;
}

std::string ObjectReader::pathOf(std::string_view name) const {
  return path_.empty() ? std::string(name) : fmt::format("{}.{}", path_, name);
}

const JsonNode* ObjectReader::require(std::string_view name, bool optional,
                                      const std::string& expected) {
  const JsonNode* const found = find(name);
  if (found == nullptr && !optional && node_.members() != nullptr) {
    mistakes_.add(node_, pathOf(name), fmt::format("expected {}; it is missing", expected));
  }
  return found;
}

double ObjectReader::number(std::string_view name, Range range, std::optional<double> fallback) {
  const std::string expected = inWords(range, "a number");
  const JsonNode* const found = require(name, fallback.has_value(), expected);
  if (found == nullptr) return fallback.value_or(range.least);
  const double* const value = found->number();
  if (value != nullptr && *value >= range.least && *value <= range.most) return *value;
  fail(name, expected);
  return range.least;
}

std::int64_t ObjectReader::integer(std::string_view name, Range range,
                                   std::optional<std::int64_t> fallback) {
  const std::string expected = inWords(range, "a whole number");
  const JsonNode* const found = require(name, fallback.has_value(), expected);
  if (found == nullptr) return fallback.value_or(static_cast<std::int64_t>(range.least));
  const double* const value = found->number();
  if (value != nullptr && *value >= range.least && *value <= range.most &&
      std::floor(*value) == *value) {
    return static_cast<std::int64_t>(*value);
  }
  fail(name, expected);
  return static_cast<std::int64_t>(range.least);
}

bool ObjectReader::flag(std::string_view name, bool fallback) {
  const JsonNode* const found = find(name);
  if (found == nullptr) return fallback;
  if (found->boolean() != nullptr) return *found->boolean();
  fail(name, "true or false");
  return fallback;
}

std::string ObjectReader::text(std::string_view name, std::optional<std::string> fallback) {
  const JsonNode* const found = require(name, fallback.has_value(), "a text");
  if (found == nullptr) return fallback.value_or("");
  if (found->string() != nullptr && !found->string()->empty()) return *found->string();
  fail(name, "a text that is not empty");
  return "";
}

std::size_t ObjectReader::choice(std::string_view name, const std::vector<std::string>& choices,
                                 std::optional<std::size_t> fallback) {
  const std::string expected = fmt::format("one of {}", fmt::join(choices, ", "));
  const JsonNode* const found = require(name, fallback.has_value(), expected);
  if (found == nullptr) return fallback.value_or(0);
  if (const std::string* const value = found->string()) {
    const auto position = std::ranges::find(choices, *value);
    if (position != choices.end()) return static_cast<std::size_t>(position - choices.begin());
  }
  const std::string* const wrong = found->string();
  if (wrong != nullptr && !suggestion(*wrong, choices).empty()) {
    mistakes_.add(*found, pathOf(name),
                  fmt::format("expected {}, got {}{}", expected, found->inWords(),
                              suggestion(*wrong, choices)));
  }
  fail(name, expected);
  return 0;
}

void ObjectReader::each(
    std::string_view name,
    const std::function<void(const JsonNode& item, const std::string& path)>& read) {
  const JsonNode* const found = find(name);
  if (found == nullptr) return;
  if (found->list() == nullptr) {
    fail(name, "a list");
    return;
  }
  for (std::size_t i = 0; i < found->list()->size() && !mistakes_.first(); ++i) {
    read((*found->list())[i], fmt::format("{}[{}]", pathOf(name), i));
  }
}

void ObjectReader::fail(std::string_view name, const std::string& expected) {
  const JsonNode* const found = find(name);
  if (found == nullptr) {
    mistakes_.add(node_, pathOf(name), "expected " + expected);
  } else {
    mistakes_.add(*found, pathOf(name),
                  fmt::format("expected {}, got {}", expected, found->inWords()));
  }
}

}  // namespace ks::tool
