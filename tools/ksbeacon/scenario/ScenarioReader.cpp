#include "tools/ksbeacon/scenario/ScenarioReader.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "tools/ksbeacon/documents/ObjectReader.h"
#include "tools/ksbeacon/output/Suggestion.h"
#include "tools/ksbeacon/scenario/GpxTrack.h"
#include "tools/ksbeacon/scenario/PopulationReader.h"
#include "tools/ksbeacon/scenario/ScenarioParts.h"

namespace ks::tool {

namespace {

constexpr double kLongest = kLongestDay.count();

void readPortal(const JsonNode& node, const ScenarioParts& parts, Scenario& scenario,
                Mistakes& mistakes) {
  ObjectReader reader(node, "portal", mistakes, {"documents", "username", "password", "faults"});
  const std::string documents = reader.text("documents");
  Scenario::Portal& portal = scenario.portal;
  portal.documents = (scenario.file.parent_path() / documents).lexically_normal();
  std::error_code ec;
  if (!mistakes.first() && !std::filesystem::is_directory(portal.documents, ec)) {
    reader.fail("documents", "a folder of portal documents, relative to the scenario's file");
  }
  portal.credentials = {reader.text("username", "demo"), reader.text("password", "demo")};
  scenario.application.credentials = portal.credentials;
  reader.each("faults", [&](const JsonNode& item, const std::string& path) {
    scenario.faults.push_back(parts.fault(item, path));
  });
}

/// It becomes the name of a folder.
std::string readFolderName(ObjectReader& reader, const char* name, const char* example,
                           std::optional<std::string> fallback = std::nullopt) {
  std::string identifier = fallback ? reader.text(name, *fallback) : reader.text(name);
  const bool isPlain = std::ranges::all_of(identifier, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-';
  });
  if (!isPlain || identifier.starts_with('.')) {
    reader.fail(name, fmt::format("letters, digits, \".\" and \"-\", as in \"{}\"", example));
  }
  return identifier;
}

/// "all", or a list of names.
ks::Refinements readRefinements(ObjectReader& reader, Mistakes& mistakes) {
  constexpr const char* kName = "refinements";
  ks::Refinements refinements;
  const JsonNode* const node = reader.find(kName);
  if (node == nullptr) return refinements;
  if (node->string() != nullptr) {
    if (*node->string() == "all") return ks::Refinements::all();
    reader.fail(kName, "\"all\" or a list of names");
    return refinements;
  }
  reader.each(kName, [&](const JsonNode& item, const std::string& path) {
    const auto found =
        std::ranges::find(ks::Refinements::named(), item.string() == nullptr ? "" : *item.string(),
                          &ks::Refinements::Named::name);
    if (found != ks::Refinements::named().end()) {
      refinements.*found->member = true;
    } else {
      std::vector<std::string> names;
      for (const auto& [name, member] : ks::Refinements::named()) names.emplace_back(name);
      mistakes.add(item, path,
                   "expected a refinement's name, got " + item.inWords() +
                       (item.string() == nullptr ? "" : suggestion(*item.string(), names)));
    }
  });
  return refinements;
}

void readApplication(const JsonNode& node, const std::string& path, Scenario& scenario,
                     Mistakes& mistakes) {
  ObjectReader reader(node, path, mistakes,
                      {"bundleIdentifier", "foreground", "showsNotifications", "username",
                       "password", "tags", "disabledCategories", "refinements"});
  Scenario::Application& application = scenario.application;
  application.bundleIdentifier = readFolderName(reader, "bundleIdentifier", "com.example.simulated",
                                                application.bundleIdentifier);
  application.foreground = reader.flag("foreground", application.foreground);
  application.showsNotifications =
      reader.flag("showsNotifications", application.showsNotifications);
  application.credentials = {reader.text("username", application.credentials.username),
                             reader.text("password", application.credentials.password)};
  if (reader.has("refinements")) application.refinements = readRefinements(reader, mistakes);
  if (const JsonNode* const tags = reader.find("tags")) {
    ObjectReader each(*tags, reader.pathOf("tags"), mistakes);
    for (const std::string& name : each.names()) {
      application.tags.emplace_back(name, each.text(name));
    }
  }
  if (reader.has("disabledCategories")) {
    application.disabledCategories = readCategories(reader, "disabledCategories");
  }
}

/// One of several devices: the scenario's own day, but for what is said of this one.
Scenario readDevice(const JsonNode& node, const std::string& path, const ScenarioParts& parts,
                    const Scenario& scenario, Mistakes& mistakes) {
  ObjectReader reader(node, path, mistakes,
                      {"name", "timeZone", "locale", "seed", "permission", "application", "walk"});
  Scenario device = scenario;
  device.devices.clear();
  device.device = readFolderName(reader, "name", "anna");
  const auto taken = std::ranges::find(scenario.devices, device.device, &Scenario::device);
  if (taken != scenario.devices.end()) reader.fail("name", "another name");
  device.seed += scenario.devices.size();
  if (reader.has("timeZone")) device.timeZone = readTimeZone(reader, "timeZone");
  if (reader.has("locale")) readLocale(reader, "locale", device.language, device.country);
  if (reader.has("seed")) {
    device.seed = static_cast<std::uint64_t>(reader.integer("seed", {0, 1e15}));
  }
  if (reader.has("permission")) device.permission = readPermission(reader, "permission");
  if (const JsonNode* const application = reader.find("application")) {
    readApplication(*application, reader.pathOf("application"), device, mistakes);
  }
  if (reader.has("walk") || scenario.walk.stops.empty()) {
    device.walk = parts.walk(reader.section("walk"), reader.pathOf("walk"));
  }
  return device;
}

/// Gives each device the events and expectations that name it.
void handOut(Scenario& scenario, Mistakes& mistakes) {
  std::vector<std::string> names;
  for (const Scenario& each : scenario.devices) names.push_back(each.device);
  const auto check = [&](const std::string& device, std::string path, int line) {
    if (device.empty() || std::ranges::find(names, device) != names.end()) return;
    mistakes.add({scenario.file.string(), line, std::move(path),
                  fmt::format("expected one of the devices, got \"{}\"{}", device,
                              suggestion(device, names))});
  };
  for (std::size_t i = 0; i < scenario.events.size(); ++i) {
    check(scenario.events[i].device, fmt::format("events[{}].device", i), 0);
  }
  for (std::size_t i = 0; i < scenario.expectations.size(); ++i) {
    const Scenario::Expectation& each = scenario.expectations[i];
    check(each.device, fmt::format("expect[{}].device", i), each.line);
  }
  for (Scenario& device : scenario.devices) {
    for (const Scenario::Event& event : scenario.events) {
      if (event.device.empty() || event.device == device.device) device.events.push_back(event);
    }
    for (const Scenario::Expectation& each : scenario.expectations) {
      if (each.device != device.device) continue;
      device.expectations.push_back(each);
      device.expectations.back().device.clear();
    }
  }
}

/// Events and expectations that name what must stand elsewhere in the scenario.
void checkPlan(const Scenario& scenario, Mistakes& mistakes) {
  using Subject = Scenario::Expectation::Subject;
  const std::string file = scenario.file.string();
  for (std::size_t i = 0; i < scenario.events.size(); ++i) {
    const Scenario::Event& event = scenario.events[i];
    if (event.kind != Scenario::Event::Kind::setBattery) continue;
    const auto beacon = std::ranges::find(scenario.beacons, event.name, &Scenario::Beacon::name);
    if (beacon != scenario.beacons.end() && beacon->radio.battery) continue;
    mistakes.add({file, 0, fmt::format("events[{}].beacon", i),
                  fmt::format("expected a beacon with a \"battery\", got \"{}\"", event.name)});
  }
  for (std::size_t i = 0; i < scenario.expectations.size(); ++i) {
    const Scenario::Expectation& each = scenario.expectations[i];
    const bool isSeen = each.subject < Subject::entered ||
                        std::ranges::any_of(scenario.events, [&](const Scenario::Event& event) {
                          return event.kind == Scenario::Event::Kind::look &&
                                 event.at >= each.from && event.at <= each.to;
                        });
    if (isSeen) continue;
    mistakes.add({file, each.line, fmt::format("expect[{}]", i),
                  "expected an event \"look\" between its \"from\" and \"to\""});
  }
}

Scenario readDocument(const JsonNode& document, const std::string& file, Mistakes& mistakes) {
  ObjectReader reader(document, "", mistakes,
                      {"$schema", "title", "start", "timeZone", "locale", "until", "seed",
                       "permission", "origin", "pathLoss", "radio", "portal", "application",
                       "beacons", "walk", "devices", "events", "expect", "population"});
  Scenario scenario;
  scenario.file = file;
  scenario.title = reader.text("title", scenario.file.stem().string());
  scenario.start = readDate(reader, "start");
  scenario.timeZone = readTimeZone(reader, "timeZone");
  readLocale(reader, "locale", scenario.language, scenario.country);
  scenario.until = readMoment(reader, "until", {1, kLongest});
  scenario.seed = static_cast<std::uint64_t>(reader.integer("seed", {0, 1e15}, 1));
  scenario.permission = readPermission(reader, "permission");

  const ScenarioParts parts(reader, scenario.start, scenario.until, scenario.file.parent_path());
  scenario.pathLossExponent = reader.number("pathLoss", {1, 8}, scenario.pathLossExponent);
  if (const JsonNode* const radio = reader.find("radio")) {
    scenario.radio = parts.radio(*radio, "radio");
  }
  readPortal(reader.section("portal"), parts, scenario, mistakes);
  static const JsonNode kNothing{JsonNode::Members{}, 0};
  const JsonNode* const application = reader.find("application");
  readApplication(application == nullptr ? kNothing : *application, "application", scenario,
                  mistakes);
  reader.each("beacons", [&](const JsonNode& item, const std::string& path) {
    scenario.beacons.push_back(parts.beacon(item, path));
  });
  if (reader.has("walk") || !reader.has("devices")) {
    scenario.walk = parts.walk(reader.section("walk"), "walk");
  }
  reader.each("devices", [&](const JsonNode& item, const std::string& path) {
    scenario.devices.push_back(readDevice(item, path, parts, scenario, mistakes));
  });
  reader.each("events", [&](const JsonNode& item, const std::string& path) {
    scenario.events.push_back(parts.event(item, path));
  });
  reader.each("expect", [&](const JsonNode& item, const std::string& path) {
    scenario.expectations.push_back(parts.expectation(item, path));
  });
  handOut(scenario, mistakes);
  checkPlan(scenario, mistakes);
  if (const JsonNode* const population = reader.find("population")) {
    scenario.population = readPopulation(*population, parts, scenario.until, mistakes);
  }
  return scenario;
}

std::variant<Scenario, InputError> readParsed(std::variant<JsonNode, InputError> parsed,
                                              const std::string& file) {
  if (auto* const error = std::get_if<InputError>(&parsed)) return std::move(*error);
  Mistakes mistakes(file);
  Scenario scenario = readDocument(std::get<JsonNode>(parsed), file, mistakes);
  if (mistakes.first()) return *mistakes.first();
  return scenario;
}

}  // namespace

std::variant<Scenario, InputError> readScenario(std::string_view text, const std::string& file) {
  return readParsed(parseLocatedJson(text, file), file);
}

std::variant<Scenario, InputError> readScenarioFile(const std::string& path) {
  return readParsed(readLocatedJson(path), path);
}

std::variant<Scenario, InputError> chooseDevice(Scenario scenario, const std::string& name) {
  if (name.empty()) return scenario;
  std::vector<std::string> names;
  for (Scenario& each : scenario.devices) {
    if (each.device == name) return std::move(each);
    names.push_back(each.device);
  }
  return InputError{scenario.file.string(), 0, "",
                    fmt::format("expected one of its devices ({}), got {}{}",
                                fmt::join(names, ", "), name, suggestion(name, names))};
}

std::variant<std::vector<Scenario::Expectation>, InputError> readExpectations(
    const std::string& path) {
  auto parsed = readLocatedJson(path);
  if (auto* const error = std::get_if<InputError>(&parsed)) return std::move(*error);
  Mistakes mistakes(path);
  ObjectReader reader(std::get<JsonNode>(parsed), "", mistakes, {"$schema", "title", "expect"});
  const ScenarioParts parts(reader, Date{}, kLongestDay, {});
  std::vector<Scenario::Expectation> expectations;
  reader.each("expect", [&](const JsonNode& item, const std::string& itemPath) {
    expectations.push_back(parts.expectation(item, itemPath));
  });
  if (mistakes.first()) return *mistakes.first();
  return expectations;
}

std::variant<Scenario, InputError> readTrackScenario(const std::string& path,
                                                     const std::string& documents) {
  auto read = readGpxTrack(path);
  if (auto* const error = std::get_if<InputError>(&read)) return std::move(*error);
  std::error_code ec;
  if (!std::filesystem::is_directory(documents, ec)) {
    return InputError{documents, 0, "", "expected a folder of portal documents"};
  }
  const auto& track = std::get<std::vector<TrackPoint>>(read);
  // 2026-01-01T08:00:00Z, for tracks that name no time.
  constexpr double kSomeMorning = 1767254400;
  const SimulatedWaypoint usual;
  Seconds length{0};
  for (std::size_t i = 1; i < track.size(); ++i) {
    const Metres way = distanceBetween(track[i - 1].coordinate, track[i].coordinate);
    length += track[i].time ? Seconds{*track[i].time - *track[i - 1].time}
                            : Seconds{way.value / usual.speed.value};
  }
  if (length.count() > kLongest) return InputError{path, 0, "", "expected a way of at most a year"};
  Scenario scenario;
  scenario.file = path;
  scenario.title = scenario.file.stem().string();
  scenario.start = track.front().time.value_or(dateFromSecondsSince1970(kSomeMorning));
  scenario.until = length + Seconds{60};
  scenario.portal = {documents, {"demo", "demo"}};
  scenario.application.credentials = scenario.portal.credentials;
  scenario.walk.stops = stopsOf(track, scenario.start, usual);
  return scenario;
}

}  // namespace ks::tool
