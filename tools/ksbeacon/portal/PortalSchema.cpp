#include "tools/ksbeacon/portal/PortalSchema.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/UUID.h"
#include "tools/ksbeacon/output/Suggestion.h"

namespace ks::portal {

namespace json = boost::json;

namespace {

constexpr double kMaximum = std::numeric_limits<double>::max();
constexpr double kInt32 = std::numeric_limits<std::int32_t>::max();

enum class Shape { text, identifier, number, integer, word, uuid, date, timestamp, tags, object };
enum class Need { optional, required, orNull };

struct Member {
  const char* name;
  Shape shape = Shape::text;
  Need need = Need::optional;
  double least = -kMaximum;
  double most = kMaximum;
  std::vector<std::string_view> words = {};
  std::vector<Member> members = {};
};
using Members = std::vector<Member>;

Member required(Member member) {
  member.need = Need::required;
  return member;
}

Member number(const char* name, double least = -kMaximum, double most = kMaximum) {
  return {name, Shape::number, Need::optional, least, most};
}

Member integer(const char* name, double least, double most) {
  return {name, Shape::integer, Need::optional, least, most};
}

Member word(const char* name, std::vector<std::string_view> words) {
  return {name, Shape::word, Need::optional, 0, 0, std::move(words)};
}

Member object(const char* name, Members members) {
  return {name, Shape::object, Need::optional, 0, 0, {}, std::move(members)};
}

Member identifier(const char* name) { return {name, Shape::identifier}; }

const Member& contentMember() {
  static const Member kContent =
      object("content", {required(word("type", {"HTML", "VIDEO", "PUSH_TEXT", "FOLLOW_TRACK"})),
                         required(identifier("id")),
                         {"name"},
                         {"message"},
                         {"language"},
                         {"title"},
                         {"titleImageUrl"},
                         identifier("categoryId"),
                         number("repeatDelaySeconds"),
                         number("dwellingTimeSeconds"),
                         word("proximity", {"IMMEDIATE", "NEAR", "FAR"}),
                         integer("notifyAfterXEvents", -kInt32 - 1, kInt32),
                         number("maxIntervalSeconds"),
                         word("notifyOn", {"ENTER", "EXIT"}),
                         {"richMediaUrl"},
                         {"messageIconUrl"},
                         {"pageUrl"},
                         {"videoUrl"}});
  return kContent;
}

const Members& documentMembers(DocumentKind kind) {
  static const Members kCategories = {required(identifier("id")), required({"name"})};
  static const Members kLocations = {required(identifier("id")),
                                     {"name"},
                                     required(number("latitude", -90, 90)),
                                     required(number("longitude", -180, 180)),
                                     number("refreshIntervalSeconds", 0)};
  static const Member kSchedule = object("schedule", {identifier("id"), {"name"}});
  static const Members kBeacons = {required(identifier("id")),
                                   object("location", {required(identifier("id"))}),
                                   required({"uuid", Shape::uuid}),
                                   required(integer("major", 0, 65535)),
                                   required(integer("minor", 0, 65535)),
                                   {"name"},
                                   {"model"},
                                   {"manufacturer"},
                                   identifier("manufacturerId"),
                                   {"locationZone"},
                                   identifier("referenceId"),
                                   contentMember(),
                                   {"validUntil", Shape::date},
                                   kSchedule,
                                   {"tags", Shape::tags}};
  static const Members kGeofences = {required(identifier("id")),
                                     {"name"},
                                     required(number("latitude", -90, 90)),
                                     required(number("longitude", -180, 180)),
                                     required(number("radius", 0)),
                                     {"validUntil", Shape::date},
                                     kSchedule,
                                     contentMember(),
                                     {"tags", Shape::tags}};
  switch (kind) {
    case DocumentKind::categories:
      return kCategories;
    case DocumentKind::locations:
      return kLocations;
    case DocumentKind::beacons:
      return kBeacons;
    default:
      return kGeofences;
  }
}

/// The body of each event, exactly these members.
Members statisticMembers(const std::string& zoneKind, const std::string& event) {
  const bool isBeacon = zoneKind == "beacons";
  const Member zone = required(identifier(isBeacon ? "beaconId" : "geofenceId"));
  const Member timestamp = required({"timestamp", Shape::timestamp});
  const Member duration = required(integer("duration", -kInt32 - 1, kInt32));
  const Member tags = {"tags", Shape::tags, Need::orNull};
  if (event == "enter") return isBeacon ? Members{zone, timestamp, tags} : Members{zone, timestamp};
  if (event == "exit") {
    if (!isBeacon) return {zone, timestamp, duration};
    return {zone, timestamp, {"batteryLevel", Shape::number, Need::orNull}, duration, tags};
  }
  return {zone,
          required(identifier("contentId")),
          {"schedulId", Shape::identifier, Need::orNull},
          timestamp,
          tags};
}

/// Compares with a pattern in which 9 stands for a digit and ~ for a sign.
bool matches(std::string_view text, std::string_view pattern) {
  return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(), [](char c, char p) {
    if (p == '9') return c >= '0' && c <= '9';
    if (p == '~') return c == '+' || c == '-';
    return c == p;
  });
}

/// The number, also when it is written as text; NaN for anything else.
double numberOf(const json::value& value) {
  if (value.is_number()) return value.to_number<double>();
  const auto* text = value.if_string();
  if (text == nullptr || text->empty()) return NAN;
  char* end = nullptr;
  const double number = std::strtod(text->c_str(), &end);
  return end == text->c_str() + text->size() ? number : NAN;
}

std::string inWords(const Member& member) {
  const auto range = [&](std::string text) {
    if (member.least > -kMaximum) text += " from " + json::serialize(json::value(member.least));
    if (member.most < kMaximum) text += " to " + json::serialize(json::value(member.most));
    return text;
  };
  switch (member.shape) {
    case Shape::text:
      return "text";
    case Shape::identifier:
      return "text that is not empty, or a whole number";
    case Shape::number:
      return range("a number");
    case Shape::integer:
      return range("a whole number");
    case Shape::uuid:
      return "a UUID like 4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B";
    case Shape::date:
      return "a date like 2030-01-31T12:00:00.0000000Z";
    case Shape::timestamp:
      return "a date like 2030-01-31T12:00:00+0100";
    case Shape::tags:
      return "an object whose values are text";
    case Shape::object:
      return "an object";
    case Shape::word:
      break;
  }
  std::string text = "one of";
  for (const auto& each : member.words) text += " " + std::string(each);
  return text;
}

bool hasShape(const json::value& value, const Member& member) {
  const auto* text = value.if_string();
  switch (member.shape) {
    case Shape::text:
      return text != nullptr;
    case Shape::identifier:
      return (text != nullptr && !text->empty()) || value.is_int64() || value.is_uint64();
    case Shape::number:
    case Shape::integer: {
      const double number = numberOf(value);
      return std::isfinite(number) && number >= member.least && number <= member.most &&
             (member.shape == Shape::number || number == std::trunc(number));
    }
    case Shape::word:
      return text != nullptr && std::find(member.words.begin(), member.words.end(),
                                          std::string_view(*text)) != member.words.end();
    case Shape::uuid:
      return text != nullptr && UUID::fromString(*text).has_value();
    case Shape::date:
      return text != nullptr && matches(*text, "9999-99-99T99:99:99.9999999Z");
    case Shape::timestamp:
      return text != nullptr && matches(*text, "9999-99-99T99:99:99~9999");
    case Shape::tags:
      return value.is_object() &&
             std::all_of(value.get_object().begin(), value.get_object().end(),
                         [](const auto& entry) { return entry.value().is_string(); });
    case Shape::object:
      return value.is_object();
  }
  return false;
}

class Check {
 public:
  explicit Check(const ProblemSink& report) : report_(report) {}

  void object(const json::value& value, const Members& members, const std::string& path) const {
    const auto* object = value.if_object();
    if (object == nullptr) return report_(path, "expected an object");
    for (const auto& member : members) check(*object, member, pathOf(path, member.name));
    for (const auto& entry : *object) {
      const bool isKnown = std::any_of(members.begin(), members.end(), [&](const Member& member) {
        return entry.key() == member.name;
      });
      if (isKnown) continue;
      std::vector<std::string> names;
      for (const Member& member : members) names.emplace_back(member.name);
      report_(pathOf(path, entry.key()), "unknown member" + tool::suggestion(entry.key(), names));
    }
  }

 private:
  static std::string pathOf(const std::string& path, std::string_view name) {
    return path + (path.empty() ? "" : ".") + std::string(name);
  }

  void check(const json::object& object, const Member& member, const std::string& path) const {
    const auto* value = object.if_contains(member.name);
    if (value == nullptr) {
      if (member.need != Need::optional) report_(path, "missing; expected " + inWords(member));
      return;
    }
    if (value->is_null() && member.need != Need::required) return;
    if (!hasShape(*value, member)) return report_(path, "expected " + inWords(member));
    if (member.shape == Shape::object) this->object(*value, member.members, path);
  }

  const ProblemSink& report_;
};

}  // namespace

const char* documentFileName(DocumentKind kind) {
  switch (kind) {
    case DocumentKind::categories:
      return "categories.json";
    case DocumentKind::locations:
      return "locations.json";
    case DocumentKind::beacons:
      return "beacons.json";
    case DocumentKind::geofences:
      return "geofences.json";
  }
  return "";
}

void checkItems(DocumentKind kind, const json::array& items, const ProblemSink& report) {
  for (std::size_t i = 0; i < items.size(); ++i) {
    Check(report).object(items[i], documentMembers(kind), "[" + std::to_string(i) + "]");
  }
}

void checkStatistic(const std::string& zoneKind, const std::string& event, const json::value& body,
                    const ProblemSink& report) {
  Check(report).object(body, statisticMembers(zoneKind, event), "");
}

}  // namespace ks::portal
