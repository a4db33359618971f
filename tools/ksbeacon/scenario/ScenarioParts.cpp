#include "tools/ksbeacon/scenario/ScenarioParts.h"

#include <fmt/format.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "BeaconSDK/Classes/Date/SystemTimeZone.h"
#include "tools/ksbeacon/documents/MomentText.h"
#include "tools/ksbeacon/scenario/GpxTrack.h"

namespace ks::tool {

namespace {

using Range = ObjectReader::Range;

/// Local metres are for sites, not for countries.
constexpr double kFarthest = 100000;
constexpr Range kSpeed{0.01, 1000, " m/s"};
constexpr Range kAccuracy{0, 10000, " metres"};

}  // namespace

Date readDate(ObjectReader& reader, std::string_view name) {
  const std::string text = reader.text(name);
  if (const auto date = dateFromText(text)) return *date;
  reader.fail(name, "a date like \"2026-05-04T09:00:00Z\", from 1970 on");
  return {};
}

Seconds readMoment(ObjectReader& reader, std::string_view name, Range range,
                   std::optional<Seconds> fallback) {
  if (!reader.has(name) && fallback) return *fallback;
  const JsonNode* const node = reader.find(name);
  std::optional<double> seconds;
  if (node != nullptr && node->number() != nullptr) seconds = *node->number();
  if (node != nullptr && node->string() != nullptr) seconds = momentFromText(*node->string());
  if (seconds && *seconds >= range.least && *seconds <= range.most) return Seconds{*seconds};
  reader.fail(name, fmt::format("seconds from {} to {}, as a number or as \"h:mm:ss\"", range.least,
                                range.most));
  return Seconds{range.least};
}

std::string readTimeZone(ObjectReader& reader, std::string_view name) {
  std::string zone = reader.text(name, "UTC");
  if (*systemTimeZone(zone) == icu::TimeZone::getUnknown()) {
    reader.fail(name, "a time zone like \"Europe/Rome\"");
  }
  return zone;
}

void readLocale(ObjectReader& reader, std::string_view name, std::string& language,
                std::string& country) {
  const std::string locale = reader.text(name, "en_US");
  const auto letter = [&](std::size_t i, char low, char high) {
    return locale[i] >= low && locale[i] <= high;
  };
  if (locale.size() == 5 && letter(0, 'a', 'z') && letter(1, 'a', 'z') && locale[2] == '_' &&
      letter(3, 'A', 'Z') && letter(4, 'A', 'Z')) {
    language = locale.substr(0, 2);
    country = locale.substr(3);
  } else {
    reader.fail(name, "a locale like \"it_IT\"");
  }
}

CLAuthorizationStatus readPermission(ObjectReader& reader, std::string_view name) {
  constexpr std::size_t kAlways = 3;
  return static_cast<CLAuthorizationStatus>(reader.choice(name, permissionNames(), kAlways));
}

std::vector<std::string> readCategories(ObjectReader& reader, std::string_view name) {
  std::vector<std::string> categories;
  reader.each(name, [&](const JsonNode& item, const std::string& path) {
    if (item.string() != nullptr && !item.string()->empty()) {
      categories.push_back(*item.string());
    } else {
      reader.mistakes().add(item, path,
                            "expected a category's identifier as text, got " + item.inWords());
    }
  });
  return categories;
}

ScenarioParts::ScenarioParts(ObjectReader& document, Date start, Seconds until,
                             std::filesystem::path folder)
    : mistakes_(document.mistakes()), start_(start), until_(until), folder_(std::move(folder)) {
  if (document.has("origin")) origin_ = position(document, "origin");
}

CLLocationCoordinate2D ScenarioParts::position(ObjectReader& reader, std::string_view name) const {
  ObjectReader point(reader.section(name), reader.pathOf(name), mistakes_,
                     {"latitude", "longitude", "east", "north"});
  if (!point.has("east") && !point.has("north")) {
    return {point.number("latitude", {-90, 90, " degrees"}),
            point.number("longitude", {-180, 180, " degrees"})};
  }
  if (point.has("latitude") || point.has("longitude")) {
    point.fail(point.has("east") ? "east" : "north", "either degrees or metres, not both");
    return {};
  }
  const double east = point.number("east", {-kFarthest, kFarthest, " metres"}, 0);
  const double north = point.number("north", {-kFarthest, kFarthest, " metres"}, 0);
  if (!origin_) {
    reader.fail(name, "degrees, because the scenario has no \"origin\" to count metres from");
    return {};
  }
  constexpr double kDegree = 180 / std::numbers::pi;
  constexpr double kDegreesPerMetre = kDegree / kMeanEarthRadius.value;
  const double shrink = std::max(0.01, std::cos(origin_->latitude / kDegree));
  return {std::clamp(origin_->latitude + north * kDegreesPerMetre, -90.0, 90.0),
          std::clamp(origin_->longitude + east / shrink * kDegreesPerMetre, -180.0, 180.0)};
}

std::pair<Seconds, Seconds> ScenarioParts::span(ObjectReader& reader, std::optional<Seconds> from,
                                                std::optional<Seconds> to) const {
  const Seconds begin = readMoment(reader, "from", {0, until_.count()}, from);
  const Seconds end = readMoment(reader, "to", {begin.count(), until_.count()}, to);
  return {begin, end};
}

SimulatedBattery ScenarioParts::battery(const JsonNode& node, const std::string& path) const {
  ObjectReader reader(node, path, mistakes_, {"layout", "tag", "level", "interval"});
  SimulatedBattery battery;
  const bool named = reader.choice("layout", {"identity", "name"}) == 1;
  battery.layout = named ? SimulatedBattery::Layout::name : SimulatedBattery::Layout::identity;
  battery.level = static_cast<std::uint8_t>(reader.integer("level", {0, 255}));
  battery.interval = Seconds{reader.number("interval", {0.02, 3600, " s"}, 10)};
  if (named) {
    battery.name = reader.text("tag");
    const auto isAscii = [](char c) { return c >= ' ' && c <= '~'; };
    if (battery.name.size() != 4 || !std::ranges::all_of(battery.name, isAscii)) {
      reader.fail("tag", "four ASCII characters");
    }
  } else if (reader.has("tag")) {
    reader.fail("tag", "no tag in the layout \"identity\"");
  }
  return battery;
}

Scenario::Beacon ScenarioParts::beacon(const JsonNode& node, const std::string& path) const {
  ObjectReader reader(node, path, mistakes_,
                      {"name", "at", "uuid", "major", "minor", "power", "calibrationError",
                       "interval", "noise", "loss", "on", "off", "battery"});
  Scenario::Beacon beacon;
  beacon.name = reader.text("name", path);
  SimulatedBeacon& radio = beacon.radio;
  radio.coordinate = position(reader, "at");
  if (const auto uuid = UUID::fromString(reader.text("uuid"))) {
    radio.proximityUUID = *uuid;
  } else {
    reader.fail("uuid", "a UUID like \"11223344-5566-4778-8899-AABBCCDDEEFF\"");
  }
  radio.major = static_cast<std::uint16_t>(reader.integer("major", {0, 65535}));
  radio.minor = static_cast<std::uint16_t>(reader.integer("minor", {0, 65535}));
  radio.measuredPower = {static_cast<double>(reader.integer("power", {-128, 20, " dBm"}, -59))};
  radio.calibrationError = {reader.number("calibrationError", {-40, 40, " dB"}, 0)};
  radio.interval = Seconds{reader.number("interval", {0.02, 60, " s"}, 1)};
  radio.noise = {reader.number("noise", {0, 30, " dB"}, 0)};
  radio.lossProbability = reader.number("loss", {0, 1}, 0);
  const Seconds on = readMoment(reader, "on", {0, until_.count()}, Seconds{0});
  // Whatever the clock says before the start and after the end does not matter.
  constexpr Seconds kEver{1e9};
  if (on.count() > 0) radio.off.push_back({start_ - kEver, start_ + on});
  if (reader.has("off")) {
    const Seconds off = readMoment(reader, "off", {on.count(), until_.count()});
    radio.off.push_back({start_ + off, start_ + kEver});
  }
  if (const JsonNode* const found = reader.find("battery")) {
    radio.battery = battery(*found, reader.pathOf("battery"));
  }
  return beacon;
}

SimulatedPropagation ScenarioParts::radio(const JsonNode& node, const std::string& path) const {
  ObjectReader reader(
      node, path, mistakes_,
      {"jitter", "shadowing", "shadowingMemory", "bodyLoss", "bodySpan", "bodyPeriod",
       "ricianFactor", "burstShare", "burstLength", "receiverGain", "outages"});
  SimulatedPropagation radio;
  const auto seconds = [&](const char* name, Seconds usual) {
    return Seconds{reader.number(name, {0.1, 3600, " s"}, usual.count())};
  };
  radio.advertisingJitter = Seconds{reader.number("jitter", {0, 0.01, " s"}, 0)};
  radio.shadowing = {reader.number("shadowing", {0, 30, " dB"}, 0)};
  radio.shadowingMemory = seconds("shadowingMemory", radio.shadowingMemory);
  radio.bodyLoss = {reader.number("bodyLoss", {0, 40, " dB"}, 0)};
  radio.bodySpan = seconds("bodySpan", radio.bodySpan);
  radio.bodyPeriod = seconds("bodyPeriod", radio.bodyPeriod);
  if (reader.has("ricianFactor")) {
    radio.ricianFactor = reader.number("ricianFactor", {-20, 40, " dB"}, 0);
  }
  radio.burstShare = reader.number("burstShare", {0, 1}, 0);
  radio.burstLength = seconds("burstLength", radio.burstLength);
  radio.receiverGain = {reader.number("receiverGain", {-40, 40, " dB"}, 0)};
  reader.each("outages", [&](const JsonNode& item, const std::string& itemPath) {
    radio.outages.push_back(interval(item, itemPath));
  });
  return radio;
}

DateInterval ScenarioParts::interval(const JsonNode& node, const std::string& path) const {
  ObjectReader reader(node, path, mistakes_, {"from", "to"});
  const auto [from, to] = span(reader, std::nullopt, std::nullopt);
  return {start_ + from, start_ + to};
}

Scenario::Walk ScenarioParts::walk(const JsonNode& node, const std::string& path) const {
  ObjectReader reader(node, path, mistakes_,
                      {"from", "gpx", "speed", "accuracy", "noise", "memory", "spikes", "repeats",
                       "honest", "steps", "outages"});
  Scenario::Walk walk;
  SimulatedWaypoint first;
  first.accuracy = {reader.number("accuracy", kAccuracy, first.accuracy.value)};
  first.speed = {reader.number("speed", kSpeed, first.speed.value)};
  walk.errors.noise = {reader.number("noise", {0, 1000, " metres"}, 0)};
  walk.errors.memory = Seconds{reader.number("memory", {0, 3600, " s"}, 0)};
  walk.errors.spikeProbability = reader.number("spikes", {0, 1}, 0);
  walk.errors.repeatProbability = reader.number("repeats", {0, 1}, 0);
  walk.errors.honest = reader.flag("honest", false);
  walk.stops.push_back(first);
  if (reader.has("gpx")) {
    readTrack(reader, walk);
  } else {
    readSteps(reader, walk);
  }
  reader.each("outages", [&](const JsonNode& item, const std::string& itemPath) {
    walk.outages.push_back(interval(item, itemPath));
  });
  return walk;
}

void ScenarioParts::readSteps(ObjectReader& reader, Scenario::Walk& walk) const {
  walk.stops[0].coordinate = position(reader, "from");
  const MetresPerSecond usual = walk.stops[0].speed;
  reader.each("steps", [&](const JsonNode& item, const std::string& path) {
    ObjectReader step(item, path, mistakes_, {"to", "speed", "accuracy", "pause"});
    if (step.has("to") == step.has("pause")) {
      mistakes_.add(item, path, "expected either \"to\" or \"pause\"");
    } else if (step.has("pause")) {
      walk.stops.back().pause += readMoment(step, "pause", {0, until_.count()});
    } else {
      SimulatedWaypoint stop;
      stop.coordinate = position(step, "to");
      stop.speed = {step.number("speed", kSpeed, usual.value)};
      stop.accuracy = {step.number("accuracy", kAccuracy, walk.stops.back().accuracy.value)};
      walk.stops.push_back(stop);
    }
  });
}

void ScenarioParts::readTrack(ObjectReader& reader, Scenario::Walk& walk) const {
  for (const char* const other : {"from", "steps"}) {
    if (reader.has(other)) reader.fail(other, "either \"gpx\" or \"from\" and \"steps\"");
  }
  const std::string file = (folder_ / reader.text("gpx")).lexically_normal().string();
  if (mistakes_.first()) return;
  auto track = readGpxTrack(file);
  if (auto* const error = std::get_if<InputError>(&track)) {
    mistakes_.add(std::move(*error));
    return;
  }
  walk.stops = stopsOf(std::get<std::vector<TrackPoint>>(track), start_, walk.stops[0]);
}

}  // namespace ks::tool
