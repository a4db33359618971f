// Saving and loading beacons with content, beside writing the same bytes to a file without any
// archiving and beside a general property-list library that only rewrites the file.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "bench/CachedBeacons.h"

namespace {

using ks::bench::beacons;

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
