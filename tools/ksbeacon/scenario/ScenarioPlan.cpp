#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <tuple>

#include "tools/ksbeacon/scenario/ScenarioParts.h"

namespace ks::tool {

namespace {

constexpr ObjectReader::Range kClockJump{-31622400, 31622400, " s"};
/// A year.
constexpr double kLongestAge = 31622400;
constexpr double kLongestDelay = 3600;

/// The member that only faults of one kind have: how long it takes.
struct FaultSpan {
  const char* member;
  double longest;
};

std::optional<FaultSpan> spanOf(Scenario::Fault::Kind kind) {
  using Kind = Scenario::Fault::Kind;
  if (kind == Kind::maxAge) return FaultSpan{"age", kLongestAge};
  if (kind == Kind::latency || kind == Kind::slow) return FaultSpan{"delay", kLongestDelay};
  return std::nullopt;
}

/// Request paths count from the portal's root.
std::string readPath(ObjectReader& reader, std::string_view name,
                     std::optional<std::string> fallback = std::nullopt) {
  if (!reader.has(name) && fallback) return *fallback;
  std::string path = reader.text(name);
  if (!path.starts_with('/')) reader.fail(name, "a path that begins with \"/\"");
  return path;
}

}  // namespace

Scenario::Event ScenarioParts::event(const JsonNode& node, const std::string& path) const {
  using Kind = Scenario::Event::Kind;
  ObjectReader reader(node, path, mistakes_,
                      {"at", "do", "tag", "value", "category", "content", "permission", "downtime",
                       "by", "to", "zone", "on", "documents", "beacon", "level", "device"});
  Scenario::Event event;
  event.at = readMoment(reader, "at", {0, until_.count()});
  event.kind = static_cast<Kind>(reader.choice("do", eventNames()));
  std::vector<std::string_view> own;
  switch (event.kind) {
    case Kind::setPermission:
      own = {"permission"};
      if (!reader.has("permission")) reader.text("permission");
      event.permission = readPermission(reader, "permission");
      break;
    case Kind::setTag:
      own = {"tag", "value"};
      event.name = reader.text("tag");
      event.value = reader.text("value");
      break;
    case Kind::deleteTag:
      own = {"tag"};
      event.name = reader.text("tag");
      break;
    case Kind::enableCategory:
    case Kind::disableCategory:
      own = {"category"};
      event.name = reader.text("category");
      break;
    case Kind::openContent:
    case Kind::showNotification:
      own = {"content"};
      event.name = reader.text("content");
      break;
    case Kind::restart:
      own = {"downtime"};
      event.downtime = readMoment(reader, "downtime", {0, until_.count()}, Seconds{0});
      break;
    default:
      own = readDeviceEvent(reader, event);
  }
  event.device = reader.text("device", "");
  // The portal and the beacons are there for all.
  if (event.kind != Kind::setDocuments && event.kind != Kind::setBattery) own.push_back("device");
  for (const std::string& name : reader.names()) {
    if (name == "at" || name == "do" || std::ranges::find(own, name) != own.end()) continue;
    reader.fail(name, fmt::format("no such member with \"{}\"",
                                  eventNames()[static_cast<std::size_t>(event.kind)]));
  }
  return event;
}

/// Reads what an event of the device itself has; returns its members.
std::vector<std::string_view> ScenarioParts::readDeviceEvent(ObjectReader& reader,
                                                             Scenario::Event& event) const {
  using Kind = Scenario::Event::Kind;
  switch (event.kind) {
    case Kind::moveClock:
      event.by = Seconds{reader.number("by", kClockJump)};
      return {"by"};
    case Kind::setClock:
      event.date = readDate(reader, "to");
      return {"to"};
    case Kind::setTimeZone:
      reader.text("zone");
      event.name = readTimeZone(reader, "zone");
      return {"zone"};
    case Kind::setBluetooth:
    case Kind::setNetwork:
      if (!reader.has("on")) reader.fail("on", "true or false; it is missing");
      event.on = reader.flag("on", true);
      return {"on"};
    case Kind::setDocuments: {
      event.documents = (folder_ / reader.text("documents")).lexically_normal();
      std::error_code ignored;
      if (!std::filesystem::is_directory(event.documents, ignored)) {
        reader.fail("documents", "a folder of portal documents, relative to the scenario's file");
      }
      return {"documents"};
    }
    case Kind::setBattery:
      event.name = reader.text("beacon");
      event.level = static_cast<std::uint8_t>(reader.integer("level", {0, 255}));
      return {"beacon", "level"};
    default:
      return {};
  }
}

Scenario::Fault ScenarioParts::fault(const JsonNode& node, const std::string& path) const {
  ObjectReader reader(node, path, mistakes_,
                      {"from", "to", "path", "kind", "status", "age", "delay"});
  Scenario::Fault fault;
  std::tie(fault.from, fault.to) = span(reader, Seconds{0}, until_);
  fault.path = readPath(reader, "path", "");
  const std::vector<std::string> kinds = {"status",      "truncate", "notJson", "drop", "cutChunk",
                                          "notModified", "maxAge",   "latency", "slow"};
  fault.kind = static_cast<Scenario::Fault::Kind>(reader.choice("kind", kinds));
  if (fault.kind == Scenario::Fault::Kind::status) {
    fault.status = static_cast<int>(reader.integer("status", {400, 599}));
  } else if (reader.has("status")) {
    reader.fail("status", "a status only with the kind \"status\"");
  }
  const auto own = spanOf(fault.kind);
  if (own) fault.span = Seconds{reader.number(own->member, {0, own->longest, " s"})};
  for (const std::string member : {"age", "delay"}) {
    if (!reader.has(member) || (own && member == own->member)) continue;
    reader.fail(member,
                "no such member with \"" + kinds[static_cast<std::size_t>(fault.kind)] + "\"");
  }
  return fault;
}

Scenario::Expectation ScenarioParts::expectation(const JsonNode& node,
                                                 const std::string& path) const {
  // In the order of `Subject`.
  static const std::vector<std::string> kSubjects = {"content", "statistic", "refusal", "request",
                                                     "shown",   "entered",   "engine",  "ailment"};
  ObjectReader reader(
      node, path, mistakes_,
      {"content", "statistic", "refusal", "request", "shown", "entered", "engine", "ailment",
       "zone", "battery", "timestamp", "device", "from", "to", "times", "never", "refined"});
  Scenario::Expectation expectation;
  expectation.line = node.line;
  const auto given =
      std::ranges::count_if(kSubjects, [&](const auto& subject) { return reader.has(subject); });
  if (given != 1) {
    mistakes_.add(node, path,
                  fmt::format("expected one of {}, got {}", fmt::join(kSubjects, ", "), given));
    return expectation;
  }
  const auto subject =
      std::ranges::find_if(kSubjects, [&](const auto& name) { return reader.has(name); });
  expectation.subject = static_cast<Scenario::Expectation::Subject>(subject - kSubjects.begin());
  expectation.name = *subject == "request" ? readPath(reader, *subject) : reader.text(*subject);
  if (*subject == "refusal") reader.choice(*subject, refusalNames());
  if (*subject == "statistic") reader.choice(*subject, statisticNames());
  if (*subject == "engine") reader.choice(*subject, engineStateNames());
  if (reader.has("zone")) {
    expectation.zone = reader.text("zone");
    if (expectation.subject > Scenario::Expectation::Subject::refusal) {
      reader.fail("zone", "no zone for a " + *subject);
    }
  }
  if (reader.has("battery")) {
    expectation.battery = static_cast<int>(reader.integer("battery", {0, 255}));
    if (*subject != "statistic") reader.fail("battery", "a battery level only for a statistic");
  }
  expectation.timestamp = reader.text("timestamp", "");
  if (reader.has("timestamp") && *subject != "statistic") {
    reader.fail("timestamp", "a timestamp only for a statistic");
  }
  expectation.device = reader.text("device", "");
  std::tie(expectation.from, expectation.to) = span(reader, Seconds{0}, until_);
  if (reader.has("refined")) expectation.refined = reader.flag("refined", false);
  if (reader.has("times")) expectation.times = static_cast<int>(reader.integer("times", {0, 1e6}));
  if (reader.flag("never", false)) {
    if (reader.has("times")) reader.fail("times", "either \"times\" or \"never\"");
    expectation.times = 0;
  }
  return expectation;
}

}  // namespace ks::tool
