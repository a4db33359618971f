#include "tools/ksbeacon/simulate/PopulationText.h"

#include <utility>

#include "tools/ksbeacon/output/JsonText.h"

namespace ks::tool {

namespace {

Array coordinates(CLLocationCoordinate2D place) { return Array({place.latitude, place.longitude}); }

Array placesOf(const Population& population) {
  std::vector<Value> places;
  for (const Population::Place& place : population.places) {
    std::vector<Value> ways;
    for (const Population::Way& way : place.ways) {
      if (way.to) ways.emplace_back(population.places[*way.to].name);
    }
    places.emplace_back(Dictionary{{"name", place.name},
                                   {"place", coordinates(place.coordinate)},
                                   {"radius", place.radius.value},
                                   {"ways", Array(std::move(ways))}});
  }
  return Array(std::move(places));
}

Array zonesOf(const std::vector<SiteZone>& zones) {
  std::vector<Value> items;
  items.reserve(zones.size());
  for (const SiteZone& zone : zones) {
    items.emplace_back(Dictionary{{"zone", zone.zone},
                                  {"content", zone.content},
                                  {"title", zone.title},
                                  {"place", coordinates(zone.coordinate)},
                                  {"radius", zone.radius.value},
                                  {"circle", zone.isCircle}});
  }
  return Array(std::move(items));
}

}  // namespace

std::string populationJson(const Scenario& scenario, const std::vector<SiteZone>& zones) {
  const Population& population = *scenario.population;
  return jsonText(Dictionary{{"title", scenario.title},
                             {"start", dateInUTC(scenario.start)},
                             {"timeZone", scenario.timeZone},
                             {"seed", static_cast<std::int64_t>(scenario.seed)},
                             {"documents", scenario.portal.documents.string()},
                             {"visitors", static_cast<std::int64_t>(population.visitors)},
                             {"days", population.days},
                             {"places", placesOf(population)},
                             {"zones", zonesOf(zones)}});
}

}  // namespace ks::tool
