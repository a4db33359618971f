#include "tools/ksbeacon/check/ContentCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/value.hpp>
#include <cmath>
#include <cstdlib>

#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Platform/Location/Regions/PacketGaps.h"

namespace ks::tool {

namespace json = boost::json;
using portal::DocumentKind;

namespace {

/// Coming back to a proximity takes two results that count: one elsewhere, one there.
constexpr double kReturnSeconds = 2 * KSProximityTracker::kThrottleSeconds;

bool firesOnEnter(const json::object& content) { return textOf(content, "notifyOn") == "ENTER"; }

/// The least time from one event of a beacon's content to the next of the same beacon.
double leastBetweenEvents(const json::object& content) {
  return textOf(content, "proximity").empty() ? kLeastSilence.count() : kReturnSeconds;
}

void checkCounting(DocumentKind kind, const json::object& content, std::size_t sharing,
                   const ZoneFindings& report) {
  const double needed = numberOf(content, "notifyAfterXEvents");
  const double interval = numberOf(content, "maxIntervalSeconds");
  if (needed <= 1) return;
  if (interval <= 0) {
    return report("content.notifyAfterXEvents",
                  "can never fire: no second event comes within maxIntervalSeconds");
  }
  if (kind != DocumentKind::beacons) return;
  const double between = leastBetweenEvents(content);
  const double rounds = std::ceil(needed / static_cast<double>(std::max<std::size_t>(sharing, 1)));
  const double least = (rounds - 1) * between;
  if (interval >= least) return;
  report("content.maxIntervalSeconds",
         fmt::format("can hardly fire: {} events take at least {} s, {} s from one to the next {}, "
                     "and only {} s are given",
                     needed, least, between,
                     textOf(content, "proximity").empty() ? "because the beacon must fall silent"
                                                          : "because the proximity must be left",
                     interval));
}

void checkDwelling(DocumentKind kind, const json::object& content, const ZoneFindings& report) {
  const double dwelling = numberOf(content, "dwellingTimeSeconds");
  if (dwelling < 0) {
    report("content.dwellingTimeSeconds",
           fmt::format("expected 0 or more seconds, got {}", dwelling));
  } else if (dwelling > 0 && kind == DocumentKind::geofences && !firesOnEnter(content)) {
    report("content.dwellingTimeSeconds", "can never fire: on leaving a circle no stay is timed");
  }
}

void checkProximity(DocumentKind kind, const json::object& content, const ZoneFindings& report) {
  const std::string proximity = textOf(content, "proximity");
  if (proximity.empty()) return;
  if (kind == DocumentKind::geofences) {
    report("content.proximity", "has no effect: circles know no proximity");
  } else if (!firesOnEnter(content) && proximity != "FAR") {
    report("content.proximity",
           fmt::format("can hardly fire: who walks away is seen elsewhere than {} when the content "
                       "is asked; leave the proximity out to fire when the beacon falls silent",
                       proximity));
  }
}

}  // namespace

std::string textOf(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  if (value == nullptr) return "";
  if (value->is_string()) return std::string(value->get_string());
  if (value->is_int64()) return std::to_string(value->get_int64());
  if (value->is_uint64()) return std::to_string(value->get_uint64());
  return value->is_double() ? fmt::format("{}", value->get_double()) : "";
}

double numberOf(const json::object& object, const char* name) {
  return std::strtod(textOf(object, name).c_str(), nullptr);
}

const json::object* objectIn(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  return value == nullptr ? nullptr : value->if_object();
}

void checkContentRules(DocumentKind kind, const json::object& content, std::size_t sharing,
                       const ZoneFindings& report) {
  checkCounting(kind, content, sharing, report);
  checkDwelling(kind, content, report);
  checkProximity(kind, content, report);
}

void checkValidity(DocumentKind kind, const json::object& zone, Date now,
                   const ZoneFindings& report) {
  const std::string text = textOf(zone, "validUntil");
  if (text.empty()) return;
  static const NSDateFormatter kFormatter(KSResponseParser::kValidUntilFormat, wireLocale(), "UTC");
  const auto date = kFormatter.dateFromString(text);
  if (!date) {
    report("validUntil", fmt::format("there is no such date: {}; it counts as missing", text));
  } else if (*date < now) {
    report("validUntil",
           fmt::format("is over since {}: {}", text,
                       kind == DocumentKind::beacons
                           ? "the beacon is asked for anew whenever it is ranged, and a content "
                             "with a proximity never fires"
                           : "without effect, circles serve until the portal leaves them out"));
  }
}

}  // namespace ks::tool
