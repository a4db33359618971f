// What reading the zones of a large site costs, beside a plain JSON parse of the same bytes and,
// where simdjson is installed, beside reading them into plain structures with it.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parse.hpp>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "bench/SiteDocuments.h"

#ifdef KS_WITH_SIMDJSON
#include <simdjson.h>
#endif

using ks::bench::zonesDocument;

namespace {

void count(benchmark::State& state, const std::string& document) {
  state.SetBytesProcessed(static_cast<std::int64_t>(document.size()) * state.iterations());
  state.SetItemsProcessed(state.range(0) * state.iterations());
}

void zonesToRecords(benchmark::State& state) {
  ks::Platform::install(std::make_shared<ks::SimulatedPlatform>());
  const auto document = zonesDocument(state.range(0));
  const KSResponseParser parser;
  for (auto _ : state) {
    const auto records = KSResponseParser::records(document, [&](const ks::PortalObject& item) {
      return parser.convertToPrivateBeacon(item);
    });
    if (!records) state.SkipWithError(records.error().description().c_str());
    benchmark::DoNotOptimize(records);
  }
  count(state, document);
}
BENCHMARK(zonesToRecords)->Arg(100)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void zonesToValues(benchmark::State& state) {
  const auto document = zonesDocument(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(ks::NSJSONSerialization::JSONObjectWithData(document));
  }
  count(state, document);
}
BENCHMARK(zonesToValues)->Arg(10000)->Unit(benchmark::kMillisecond);

/// The reference: the library's own tree in one block of memory.
void zonesToBoostJson(benchmark::State& state) {
  const auto document = zonesDocument(state.range(0));
  for (auto _ : state) {
    boost::json::monotonic_resource memory;
    benchmark::DoNotOptimize(boost::json::parse(document, &memory));
  }
  count(state, document);
}
BENCHMARK(zonesToBoostJson)->Arg(10000)->Unit(benchmark::kMillisecond);

#ifdef KS_WITH_SIMDJSON

/// What the records of these documents hold, without anything that a record does.
struct PlainZone {
  std::string id, location, uuid, name, model, manufacturer, manufacturerId, locationZone;
  std::string validUntil, type, contentName, message, language, title, proximity, notifyOn, pageUrl;
  std::int64_t major = 0, minor = 0, contentId = 0, categoryId = 0, events = 0;
  double repeatDelay = 0, dwellingTime = 0, interval = 0;
};

using simdjson::ondemand::object;

void read(object& from, const char* key, std::string& to) {
  to = std::string_view(from[key].get_string());
}
void read(object& from, const char* key, std::int64_t& to) { to = from[key].get_int64(); }
void read(object& from, const char* key, double& to) { to = from[key].get_double(); }

PlainZone plainZone(object item) {
  PlainZone zone;
  read(item, "id", zone.id);
  object location = item["location"].get_object();
  read(location, "id", zone.location);
  read(item, "uuid", zone.uuid);
  read(item, "major", zone.major);
  read(item, "minor", zone.minor);
  read(item, "name", zone.name);
  read(item, "model", zone.model);
  read(item, "manufacturer", zone.manufacturer);
  read(item, "manufacturerId", zone.manufacturerId);
  read(item, "locationZone", zone.locationZone);
  read(item, "validUntil", zone.validUntil);
  object content = item["content"].get_object();
  read(content, "type", zone.type);
  read(content, "id", zone.contentId);
  read(content, "name", zone.contentName);
  read(content, "message", zone.message);
  read(content, "language", zone.language);
  read(content, "title", zone.title);
  read(content, "categoryId", zone.categoryId);
  read(content, "repeatDelaySeconds", zone.repeatDelay);
  read(content, "dwellingTimeSeconds", zone.dwellingTime);
  read(content, "proximity", zone.proximity);
  read(content, "notifyAfterXEvents", zone.events);
  read(content, "maxIntervalSeconds", zone.interval);
  read(content, "notifyOn", zone.notifyOn);
  read(content, "pageUrl", zone.pageUrl);
  return zone;
}

/// Whether both have read the same.
bool areEqual(const std::shared_ptr<KSPrivateBeacon>& beacon, const PlainZone& zone) {
  const KSPrivateBeacon& record = *beacon;
  return record.identifier() == zone.id && record.name() == zone.name &&
         record.minor() == zone.minor && record.content() != nullptr &&
         record.content()->message == zone.message &&
         static_cast<double>(record.content()->dwellingTime) == zone.dwellingTime;
}

/// The reference: the fastest parser there is, straight into structures without a date or a UUID.
void zonesToStructs(benchmark::State& state) {
  const simdjson::padded_string document(zonesDocument(state.range(0)));
  simdjson::ondemand::parser parser;
  const KSResponseParser own;
  const auto records = KSResponseParser::records(
      std::string_view(document),
      [&](const ks::PortalObject& item) { return own.convertToPrivateBeacon(item); });
  std::vector<PlainZone> zones;
  const auto read = [&] {
    zones.clear();
    zones.shrink_to_fit();
    auto list = parser.iterate(document);
    for (auto item : list.get_array()) zones.push_back(plainZone(item.get_object()));
  };
  read();
  if (!std::ranges::equal(*records, zones, areEqual)) {
    state.SkipWithError("the two read different zones");
  }
  for (auto _ : state) {
    read();
    benchmark::DoNotOptimize(zones);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(document.size()) * state.iterations());
  state.SetItemsProcessed(state.range(0) * state.iterations());
}
BENCHMARK(zonesToStructs)->Arg(100)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

#endif

}  // namespace

BENCHMARK_MAIN();
