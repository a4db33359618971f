#include "tools/ksbeacon/scenario/PopulationReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "tools/ksbeacon/output/Suggestion.h"

namespace ks::tool {

namespace {

using Range = ObjectReader::Range;

constexpr Range kWeight{0, 1e9};
constexpr double kSecondsOfDay = 24 * 3600;
constexpr double kMostDays = 31;
constexpr double kMostVisitors = 1e9;
constexpr double kLongestStay = 6 * 3600;

/// A number, or a list of the least and the most.
Population::Range readRange(ObjectReader& reader, const char* name, Range range,
                            Population::Range fallback) {
  const JsonNode* const node = reader.find(name);
  if (node == nullptr) return fallback;
  std::vector<double> ends;
  if (node->number() != nullptr) ends.assign(2, *node->number());
  if (node->list() != nullptr) {
    for (const JsonNode& end : *node->list()) {
      if (end.number() != nullptr) ends.push_back(*end.number());
    }
  }
  const bool isRange = ends.size() == 2 && ends[0] <= ends[1] && ends[0] >= range.least &&
                       ends[1] <= range.most &&
                       (node->list() == nullptr || node->list()->size() == 2);
  if (isRange) return {ends[0], ends[1]};
  reader.fail(name, fmt::format("a number from {} to {}{}, or [least, most]", range.least,
                                range.most, range.unit));
  return fallback;
}

/// Reports a list in which nothing has any weight.
template <typename Item>
void needWeight(ObjectReader& reader, const char* list, const std::vector<Item>& items,
                double Item::*weight, const char* member) {
  const double sum =
      std::accumulate(items.begin(), items.end(), 0.0,
                      [weight](double before, const Item& item) { return before + item.*weight; });
  if (sum <= 0) reader.fail(list, fmt::format("at least one with \"{}\" above 0", member));
}

std::vector<std::string> namesOf(const std::vector<Population::Place>& places) {
  std::vector<std::string> names;
  names.reserve(places.size());
  for (const Population::Place& place : places) names.push_back(place.name);
  return names;
}

Population::Way readWay(const JsonNode& item, const std::string& path,
                        const std::vector<std::string>& names, Mistakes& mistakes) {
  ObjectReader reader(item, path, mistakes, {"to", "leave", "weight"});
  Population::Way way;
  way.weight = reader.number("weight", kWeight, 1);
  const bool leaves = reader.flag("leave", false);
  if (leaves == reader.has("to")) {
    mistakes.add(item, path, "expected either \"to\" or \"leave\": true");
  }
  if (leaves || !reader.has("to")) return way;
  const std::string to = reader.text("to");
  const auto found = std::ranges::find(names, to);
  way.to = static_cast<std::size_t>(found - names.begin());
  if (found == names.end()) {
    way.to.reset();
    reader.fail("to", "the name of a place" + suggestion(to, names));
  }
  return way;
}

void readPlaces(ObjectReader& reader, const ScenarioParts& parts, Population& population) {
  Mistakes& mistakes = reader.mistakes();
  reader.each("places", [&](const JsonNode& item, const std::string& path) {
    ObjectReader each(item, path, mistakes, {"name", "at", "radius", "stay", "entry", "ways"});
    Population::Place place;
    place.name = each.text("name");
    place.coordinate = parts.position(each, "at");
    place.radius = {each.number("radius", {0, 1000, " metres"}, place.radius.value)};
    place.stay = readRange(each, "stay", {0, kLongestStay, " s"}, {});
    place.entry = each.number("entry", kWeight, 0);
    const auto names = namesOf(population.places);
    if (std::ranges::find(names, place.name) != names.end()) {
      each.fail("name", "a name that no other place has");
    }
    population.places.push_back(std::move(place));
  });
  const auto names = namesOf(population.places);
  std::size_t index = 0;
  reader.each("places", [&](const JsonNode& item, const std::string& path) {
    ObjectReader each(item, path, mistakes);
    std::vector<Population::Way>& ways = population.places[index++].ways;
    each.each("ways", [&](const JsonNode& way, const std::string& wayPath) {
      ways.push_back(readWay(way, wayPath, names, mistakes));
    });
    if (ways.empty()) ways.push_back({});
    needWeight(each, "ways", ways, &Population::Way::weight, "weight");
  });
}

/// From everywhere a visitor must be able to leave: else visits would only end by their length.
void checkWaysOut(ObjectReader& reader, const Population& population) {
  std::vector<bool> leads(population.places.size());
  for (bool isNew = true; isNew;) {
    isNew = false;
    for (std::size_t i = 0; i < leads.size(); ++i) {
      const bool found =
          std::ranges::any_of(population.places[i].ways, [&](const Population::Way& way) {
            return way.weight > 0 && (!way.to || leads[*way.to]);
          });
      isNew = isNew || (found && !leads[i]);
      leads[i] = found;
    }
  }
  const auto lost = std::ranges::find(leads, false);
  if (lost == leads.end()) return;
  reader.fail("places", fmt::format("a way from \"{}\" to a place where visitors leave",
                                    population.places[lost - leads.begin()].name));
}

Population::Phone readPhone(const JsonNode& item, const std::string& path, Mistakes& mistakes) {
  ObjectReader reader(
      item, path, mistakes,
      {"weight", "receiverGain", "bluetooth", "permission", "foreground", "disabledCategories"});
  Population::Phone phone;
  phone.weight = reader.number("weight", kWeight, 1);
  phone.receiverGain = readRange(reader, "receiverGain", {-40, 40, " dB"}, {});
  phone.hasBluetooth = reader.flag("bluetooth", true);
  if (reader.has("permission")) phone.permission = readPermission(reader, "permission");
  if (reader.has("foreground")) phone.foreground = reader.flag("foreground", true);
  phone.disabledCategories = readCategories(reader, "disabledCategories");
  return phone;
}

void readArrivals(ObjectReader& reader, Seconds until, Population& population) {
  reader.each("arrivals", [&](const JsonNode& item, const std::string& path) {
    ObjectReader each(item, path, reader.mistakes(), {"from", "to", "weight"});
    Population::Arrival arrival;
    arrival.from = readMoment(each, "from", {0, until.count()});
    arrival.to = readMoment(each, "to", {arrival.from.count(), until.count()});
    arrival.weight = each.number("weight", kWeight, 1);
    population.arrivals.push_back(arrival);
  });
  if (!reader.has("arrivals")) population.arrivals.push_back({Seconds{0}, until, 1});
  needWeight(reader, "arrivals", population.arrivals, &Population::Arrival::weight, "weight");
}

void readVisits(ObjectReader& reader, Seconds until, Population& population) {
  population.days = static_cast<int>(reader.integer("days", {1, kMostDays}, 1));
  if (population.days > 1 && until.count() > kSecondsOfDay) {
    reader.fail("days", "1 in a scenario that is longer than a day");
  }
  reader.each("visits", [&](const JsonNode& item, const std::string& path) {
    ObjectReader each(item, path, reader.mistakes(), {"days", "weight"});
    const auto most = static_cast<double>(population.days);
    population.visits.push_back(
        {static_cast<int>(each.integer("days", {1, most})), each.number("weight", kWeight, 1)});
  });
  if (!reader.has("visits")) population.visits.push_back({});
  needWeight(reader, "visits", population.visits, &Population::Visits::weight, "weight");
}

}  // namespace

Population readPopulation(const JsonNode& node, const ScenarioParts& parts, Seconds until,
                          Mistakes& mistakes) {
  ObjectReader reader(
      node, "population", mistakes,
      {"visitors", "days", "speed", "longest", "places", "arrivals", "phones", "visits"});
  Population population;
  population.visitors = static_cast<std::uint64_t>(reader.integer(
      "visitors", {1, kMostVisitors}, static_cast<std::int64_t>(population.visitors)));
  population.speed = readRange(reader, "speed", {0.1, 50, " m/s"}, population.speed);
  population.longest = readMoment(reader, "longest", {60, kSecondsOfDay / 2}, population.longest);
  readPlaces(reader, parts, population);
  needWeight(reader, "places", population.places, &Population::Place::entry, "entry");
  if (!mistakes.first()) checkWaysOut(reader, population);
  readArrivals(reader, until, population);
  readVisits(reader, until, population);
  reader.each("phones", [&](const JsonNode& item, const std::string& path) {
    population.phones.push_back(readPhone(item, path, mistakes));
  });
  if (!reader.has("phones")) population.phones.push_back({});
  needWeight(reader, "phones", population.phones, &Population::Phone::weight, "weight");
  return population;
}

}  // namespace ks::tool
