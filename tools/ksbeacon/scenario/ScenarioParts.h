#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ksbeacon/documents/ObjectReader.h"
#include "tools/ksbeacon/scenario/Scenario.h"

namespace ks::tool {

/// "2026-05-04T09:00:00Z", or with an offset such as "+02:00".
Date readDate(ObjectReader& reader, std::string_view name);
/// Seconds as a number, or "m:ss" or "h:mm:ss" as text. Without a fallback it must be there.
Seconds readMoment(ObjectReader& reader, std::string_view name, ObjectReader::Range range,
                   std::optional<Seconds> fallback = std::nullopt);
/// A name that the time zone data has, such as "Europe/Rome"; "UTC" when missing.
std::string readTimeZone(ObjectReader& reader, std::string_view name);
/// "it_IT".
void readLocale(ObjectReader& reader, std::string_view name, std::string& language,
                std::string& country);
CLAuthorizationStatus readPermission(ObjectReader& reader, std::string_view name);
/// A list of categories' identifiers.
std::vector<std::string> readCategories(ObjectReader& reader, std::string_view name);

/// Reads the entries of a scenario's lists, which share its origin, start and length.
class ScenarioParts {
 public:
  /// `folder` is where a track's file counts from.
  ScenarioParts(ObjectReader& document, Date start, Seconds until, std::filesystem::path folder);

  Scenario::Beacon beacon(const JsonNode& node, const std::string& path) const;
  SimulatedPropagation radio(const JsonNode& node, const std::string& path) const;
  Scenario::Walk walk(const JsonNode& node, const std::string& path) const;
  Scenario::Event event(const JsonNode& node, const std::string& path) const;
  Scenario::Fault fault(const JsonNode& node, const std::string& path) const;
  Scenario::Expectation expectation(const JsonNode& node, const std::string& path) const;
  /// Degrees, or metres east and north of the origin.
  CLLocationCoordinate2D position(ObjectReader& reader, std::string_view name) const;

 private:
  std::vector<std::string_view> readDeviceEvent(ObjectReader& reader, Scenario::Event& event) const;
  void readSteps(ObjectReader& reader, Scenario::Walk& walk) const;
  void readTrack(ObjectReader& reader, Scenario::Walk& walk) const;
  SimulatedBattery battery(const JsonNode& node, const std::string& path) const;
  /// An object of nothing but "from" and "to".
  DateInterval interval(const JsonNode& node, const std::string& path) const;
  /// "from" and "to", the second not before the first.
  std::pair<Seconds, Seconds> span(ObjectReader& reader, std::optional<Seconds> from,
                                   std::optional<Seconds> to) const;

  Mistakes& mistakes_;
  Date start_;
  Seconds until_;
  std::filesystem::path folder_;
  std::optional<CLLocationCoordinate2D> origin_;
};

}  // namespace ks::tool
