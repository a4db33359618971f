// What reading the zones of a large site costs, beside a plain JSON parse of the same bytes.

#include <benchmark/benchmark.h>

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parse.hpp>
#include <cstdlib>
#include <memory>
#include <string>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace {

std::string zonesDocument(std::int64_t count) {
  std::string document = "[";
  for (std::int64_t i = 0; i < count; ++i) {
    if (i > 0) document += ",";
    const std::string number = std::to_string(i);
    document += R"({"id":"beacon-)" + number +
                R"(","location":{"id":"site-1"},"uuid":"f7826da6-4fa2-4e98-8024-bc5b71e0893e",)"
                R"("major":)" +
                std::to_string(i / 256) + R"(,"minor":)" + std::to_string(i % 256) +
                R"(,"name":"Shelf )" + number +
                R"(","model":"standard","manufacturer":"maker","manufacturerId":"b-)" + number +
                R"(","locationZone":"ground floor","validUntil":"2026-12-31T23:59:59.0000000Z",)"
                R"("content":{"type":"HTML","id":)" +
                number +
                R"(,"name":"Offer","message":"A longer text for the shelf that greets whoever )"
                R"(walks by","language":"it","title":"Offer of the day","titleImageUrl":null,)"
                R"("categoryId":7,"repeatDelaySeconds":3600,"dwellingTimeSeconds":2.5,)"
                R"("proximity":"NEAR","notifyAfterXEvents":1,"maxIntervalSeconds":60,)"
                R"("notifyOn":"ENTER","pageUrl":"https://example.com/offers/)" +
                number + R"("}})";
  }
  return document + "]";
}

void count(benchmark::State& state, const std::string& document) {
  state.SetBytesProcessed(static_cast<std::int64_t>(document.size()) * state.iterations());
  state.SetItemsProcessed(state.range(0) * state.iterations());
}

void zonesToRecords(benchmark::State& state) {
  ks::Platform::install(std::make_shared<ks::SimulatedPlatform>());
  const auto document = zonesDocument(state.range(0));
  const KSResponseParser parser;
  for (auto _ : state) {
    const auto records = KSResponseParser::records(
        document, [&](const ks::Dictionary& item) { return parser.convertToPrivateBeacon(item); });
    if (!records) state.SkipWithError(records.error().description().c_str());
    benchmark::DoNotOptimize(records);
  }
  count(state, document);
}
BENCHMARK(zonesToRecords)->Arg(1000)->Arg(10000)->Arg(40000)->Unit(benchmark::kMillisecond);

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

}  // namespace

BENCHMARK_MAIN();
