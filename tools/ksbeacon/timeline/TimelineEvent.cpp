#include "tools/ksbeacon/timeline/TimelineEvent.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <boost/json/serialize.hpp>
#include <boost/json/string.hpp>
#include <cmath>

namespace ks::tool {

namespace {

constexpr std::array kKindNames = {
    "application", "position",     "region",    "ranging", "request", "trigger", "dwelling",
    "refusal",     "notification", "statistic", "http",    "cache",   "log",     "expectation"};

std::string quoted(const std::string& text) {
  return boost::json::serialize(boost::json::string(text));
}

}  // namespace

const char* timelineKindName(TimelineKind kind) {
  return kKindNames[static_cast<std::size_t>(kind)];
}

std::string timelineMoment(Seconds at) {
  const auto milliseconds = static_cast<long long>(std::llround(at.count() * 1000));
  return fmt::format("{}:{:02}:{:02}.{:03}", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

std::string dateInUTC(Date date) {
  const auto milliseconds = static_cast<std::int64_t>(std::llround(secondsSince1970(date) * 1000));
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                     fmt::gmtime(static_cast<std::time_t>(milliseconds / 1000)),
                     milliseconds % 1000);
}

std::string jsonText(const Value& value) {
  if (value.boolean() != nullptr) return *value.boolean() ? "true" : "false";
  if (value.real() != nullptr) {
    return std::isfinite(*value.real()) ? numberDescription(*value.real()) : "null";
  }
  if (value.isNumber()) return value.description();
  if (value.string() != nullptr) return quoted(*value.string());
  std::string text;
  if (value.array() != nullptr) {
    for (const Value& item : value.array()->items) {
      text += (text.empty() ? "" : ",") + jsonText(item);
    }
    return "[" + text + "]";
  }
  if (value.dictionary() != nullptr) {
    for (const auto& [name, member] : *value.dictionary()) {
      text += (text.empty() ? "" : ",") + quoted(name) + ":" + jsonText(member);
    }
    return "{" + text + "}";
  }
  return "null";
}

}  // namespace ks::tool
