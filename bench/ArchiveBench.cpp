// Saving and loading beacons with content, beside writing the same bytes to a file without any
// archiving and beside a general property-list library that only rewrites the file.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace {

ks::Value beacons(std::int64_t count) {
  std::vector<ks::Value> list;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const auto content = std::make_shared<KSHTMLProximityZoneContent>();
    content->identifier = "content-" + number;
    content->name = "Content " + number;
    content->message = "A message about the thing that stands at place " + number;
    content->repeatDelay = 3600;
    const auto beacon = std::make_shared<KSPrivateBeacon>();
    beacon->setIdentifier("beacon-" + number);
    beacon->setName("Beacon " + number);
    beacon->setUuid(ks::UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF"));
    beacon->setMajor(i / 1000);
    beacon->setMinor(i % 1000 + 1);
    beacon->setContent(content);
    list.emplace_back(beacon);
  }
  return ks::Dictionary{{"location", ks::Array(std::move(list))}};
}

std::filesystem::path file() { return ks::Platform::current().directories().temporary / "b.dat"; }

void Save(benchmark::State& state) {
  const ks::Value zones = beacons(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(ks::NSKeyedArchiver::archiveRootObject(zones, file()));
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(file()));
}
BENCHMARK(Save)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void Load(benchmark::State& state) {
  ks::NSKeyedArchiver::archiveRootObject(beacons(state.range(0)), file());
  for (auto _ : state) benchmark::DoNotOptimize(ks::loadCacheFile(file()));
}
BENCHMARK(Load)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void WriteSameBytes(benchmark::State& state) {
  const auto bytes = ks::NSKeyedArchiver::archivedDataWithRootObject(beacons(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(ks::writeFileAtomically(file(), bytes));
}
BENCHMARK(WriteSameBytes)->Arg(10000)->Unit(benchmark::kMillisecond);

/// The tree writer of a general property-list library, run as a program on our own file.
void ConvertWithPlistutil(benchmark::State& state) {
  ks::NSKeyedArchiver::archiveRootObject(beacons(state.range(0)), file());
  const std::string command =
      "plistutil -i " + file().string() + " -f bin -o " + file().string() + ".copy";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) state.SkipWithError("plistutil is not installed");
  }
}
BENCHMARK(ConvertWithPlistutil)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  ks::Platform::install(std::make_shared<ks::SimulatedPlatform>());
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  ks::Platform::install(nullptr);
}
