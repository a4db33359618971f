// Saving and loading beacons with content, beside writing the same bytes to a file without any
// archiving and beside a general property-list library that only builds the file's tree.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <type_traits>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/NSPropertyListSerialization.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "bench/CachedBeacons.h"

#ifdef KS_WITH_LIBPLIST
#include <plist/plist.h>
#endif

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

#ifdef KS_WITH_LIBPLIST

using Tree = std::unique_ptr<std::remove_pointer_t<plist_t>, decltype(&plist_free)>;

Tree treeOf(const ks::Data& bytes) {
  plist_t tree = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(bytes.data()),
                 static_cast<std::uint32_t>(bytes.size()), &tree);
  return {tree, plist_free};
}

/// The reference: the bare tree of the same file, without a single record.
void LoadTreeWithLibplist(benchmark::State& state) {
  const auto bytes = ks::NSKeyedArchiver::archivedDataWithRootObject(beacons(state.range(0)));
  const auto own = ks::NSPropertyListSerialization::parse(bytes);
  const auto objects = own ? own->find(own->root(), "$objects") : std::nullopt;
  const Tree tree = treeOf(bytes);
  if (!objects || own->items(*objects).size() !=
                      plist_array_get_size(plist_dict_get_item(tree.get(), "$objects"))) {
    state.SkipWithError("the two read different lists");
  }
  for (auto _ : state) benchmark::DoNotOptimize(treeOf(bytes));
}
BENCHMARK(LoadTreeWithLibplist)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

#endif

}  // namespace

int main(int argc, char** argv) {
  ks::Platform::install(std::make_shared<ks::SimulatedPlatform>());
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  ks::Platform::install(nullptr);
}
