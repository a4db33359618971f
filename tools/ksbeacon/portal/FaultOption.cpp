#include "tools/ksbeacon/portal/FaultOption.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <optional>
#include <vector>

#include "tools/ksbeacon/output/Suggestion.h"

namespace ks::tool {

namespace {

std::optional<double> numberFrom(const std::string& text, double least, double most) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || rest != end || !(value >= least && value <= most)) {
    return std::nullopt;
  }
  return value;
}

struct Form {
  const char* name;
  portal::FaultKind kind;
  enum class Value { none, status, seconds } value;
};

constexpr double kLongest = 3600;

constexpr Form kForms[] = {
    {"status", portal::FaultKind::status, Form::Value::status},
    {"latency", portal::FaultKind::latency, Form::Value::seconds},
    {"slow", portal::FaultKind::slowDrip, Form::Value::seconds},
    {"truncate", portal::FaultKind::truncatedBody, Form::Value::none},
    {"not-json", portal::FaultKind::notJson, Form::Value::none},
    {"drop", portal::FaultKind::droppedConnection, Form::Value::none},
    {"cut-chunk", portal::FaultKind::cutChunk, Form::Value::none},
    {"not-modified", portal::FaultKind::notModified, Form::Value::none},
    {"max-age", portal::FaultKind::maxAge, Form::Value::seconds},
};

}  // namespace

std::variant<portal::Fault, std::string> faultFromOption(const std::string& text) {
  const std::size_t at = text.find('@');
  const std::string head = text.substr(0, at);
  const std::size_t colon = head.find(':');
  const std::string value = colon == std::string::npos ? "" : head.substr(colon + 1);
  portal::Fault fault;
  if (at != std::string::npos) fault.path = text.substr(at + 1);
  if (at != std::string::npos && !fault.path.starts_with('/')) {
    return fmt::format("expected a path that begins with \"/\" in \"{}\", as in {}@/beacons", text,
                       head);
  }
  std::vector<std::string> names;
  for (const Form& form : kForms) {
    names.emplace_back(form.name);
    if (head.substr(0, colon) != form.name) continue;
    fault.kind = form.kind;
    if (form.value == Form::Value::status) {
      const auto status = numberFrom(value, 400, 599);
      if (!status || std::floor(*status) != *status) {
        return fmt::format("expected a status from 400 to 599 in \"{}\", as in status:401", text);
      }
      fault.status = static_cast<int>(*status);
    } else if (form.value == Form::Value::seconds) {
      const auto seconds = numberFrom(value, 0, kLongest);
      if (!seconds) {
        return fmt::format("expected seconds from 0 to {} in \"{}\", as in {}:2", kLongest, text,
                           form.name);
      }
      fault.delay = Seconds{*seconds};
    } else if (colon != std::string::npos) {
      return fmt::format("expected no value after \"{}\" in \"{}\"", form.name, text);
    }
    return fault;
  }
  return fmt::format(
      "expected a fault like status:401@/beacons, latency:2, slow:0.5, truncate, not-json, drop, "
      "cut-chunk, not-modified or max-age:60, got \"{}\"{}",
      text, suggestion(head.substr(0, colon), names));
}

std::string faultText(const portal::Fault& fault) {
  std::string text;
  for (const Form& form : kForms) {
    if (form.kind != fault.kind) continue;
    text = form.name;
    if (form.value == Form::Value::status) text += fmt::format(":{}", fault.status);
    if (form.value == Form::Value::seconds) text += fmt::format(":{}", fault.delay.count());
  }
  return fault.path.empty() ? text : text + "@" + fault.path;
}

}  // namespace ks::tool
