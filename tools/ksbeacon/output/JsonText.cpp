#include "tools/ksbeacon/output/JsonText.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <cmath>

#include "BeaconSDK/Platform/Common/PrintableText.h"

namespace ks::tool {

std::string jsonText(const Value& value) {
  if (value.boolean() != nullptr) return *value.boolean() ? "true" : "false";
  if (value.real() != nullptr) {
    return std::isfinite(*value.real()) ? numberDescription(*value.real()) : "null";
  }
  if (value.isNumber()) return value.description();
  if (value.string() != nullptr) return quotedJson(*value.string());
  std::string text;
  if (value.array() != nullptr) {
    for (const Value& item : value.array()->items) {
      text += (text.empty() ? "" : ",") + jsonText(item);
    }
    return "[" + text + "]";
  }
  if (value.dictionary() != nullptr) {
    for (const auto& [name, member] : *value.dictionary()) {
      text += (text.empty() ? "" : ",") + quotedJson(name) + ":" + jsonText(member);
    }
    return "{" + text + "}";
  }
  return "null";
}

std::string dateInUTC(Date date) {
  const auto milliseconds = static_cast<std::int64_t>(std::llround(secondsSince1970(date) * 1000));
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                     fmt::gmtime(static_cast<std::time_t>(milliseconds / 1000)),
                     milliseconds % 1000);
}

}  // namespace ks::tool
