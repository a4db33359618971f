// One path at a time, for counting: how many allocations, and how much time of the thread, it takes
// for a number of items. `bench/counts.py` runs it under callgrind for the instructions.

#include <fmt/format.h>
#include <time.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Manager/KSProximityManager.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Classes/Network/KSStatisticBody.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"
#include "bench/CachedBeacons.h"
#include "bench/Receiver.h"
#include "bench/Site.h"
#include "bench/SiteDocuments.h"
#include "bench/gate/AllocationCount.h"

namespace {

using ks::bench::Receiver;

/// What is counted, with everything that it needs prepared.
using Job = std::function<void()>;

/// The one function whose instructions are counted.
[[gnu::noinline]] void counted(const Job& job) { job(); }

std::filesystem::path cacheFile() {
  return ks::Platform::current().directories().caches / "KSProximityManager" /
         "beaconsForLocation.dat";
}

Job parse(std::int64_t count) {
  return
      [document = ks::bench::zonesDocument(count), parser = std::make_shared<KSResponseParser>()] {
        const auto records = KSResponseParser::records(document, [&](const ks::PortalObject& item) {
          return parser->convertToPrivateBeacon(item);
        });
        if (!records) std::abort();
      };
}

Job save(std::int64_t count) {
  return [zones = ks::bench::beacons(count)] {
    if (!ks::NSKeyedArchiver::archiveRootObject(zones, cacheFile())) std::abort();
  };
}

Job load(std::int64_t count) {
  ks::NSKeyedArchiver::archiveRootObject(ks::bench::beacons(count), cacheFile());
  return [] {
    if (ks::loadCacheFile(cacheFile()).dictionary() == nullptr) std::abort();
  };
}

/// A manager that finds the zones of its last run.
Job start(std::int64_t count) {
  ks::NSKeyedArchiver::archiveRootObject(ks::bench::beacons(count), cacheFile());
  return [manager = std::make_shared<std::shared_ptr<KSProximityManager>>()] {
    *manager = KSProximityManager::initWithUsername("u", "p", ks::NSURL{"https://a.invalid"}, {});
  };
}

Job statistic(std::int64_t count) {
  return [count] {
    for (std::int64_t i = 0; i < count; ++i) {
      const auto event = KSStatProximityZoneInteraction::interactionWithContentType(3);
      event->beaconIdentifier = "beacon-17";
      event->contentIdentifier = "content-17";
      if (KSStatisticBody(*event).zone().timestamp().content().data().empty()) std::abort();
    }
  };
}

/// Beacons heard by an engine that knows ten thousand.
Job range(std::int64_t count) {
  constexpr std::int64_t kCached = 10000;
  constexpr std::int64_t kRanged = 10;
  const auto site = std::make_shared<ks::bench::Site>(kCached);
  return [site, count, beacons = ks::bench::Site::lastOf(kCached, kRanged)] {
    for (std::int64_t i = 0; i < count / kRanged; ++i) site->range(beacons, 3);
  };
}

/// Circles of a new manager, all over a country, and the first position among them.
Job circles(std::int64_t count) {
  return [receiver = std::make_shared<Receiver>(), count] {
    ks::bench::monitorCircles(*receiver, count);
    receiver->engine.handleFix({{45, 9}, {10}, receiver->loop->clock().now()});
  };
}

/// A second in which as many beacons are heard and ranged.
Job second(std::int64_t count) {
  const auto receiver = std::make_shared<Receiver>();
  receiver->manager->startRangingBeaconsInRegion(
      std::make_shared<ks::CLBeaconRegion>(ks::bench::kBeaconUUID, "hall"));
  return [receiver, count, random = ks::test::Random(1)]() mutable {
    ks::bench::hearAll(*receiver, count, random);
    receiver->loop->advance(ks::Seconds{1});
  };
}

double threadSeconds() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

/// usage: Counts JOB ITEMS
/// Prints the allocations and the seconds of thread time.
int main(int argc, char** argv) {
  const std::map<std::string, Job (*)(std::int64_t)> jobs = {
      {"parse", parse},         {"save", save},   {"load", load},       {"start", start},
      {"statistic", statistic}, {"range", range}, {"circles", circles}, {"second", second}};
  const auto found = argc == 3 ? jobs.find(argv[1]) : jobs.end();
  if (found == jobs.end()) {
    fmt::print(stderr,
               "usage: Counts parse|save|load|start|statistic|range|circles|second ITEMS\n");
    return 2;
  }
  ks::Platform::install(std::make_shared<ks::SimulatedPlatform>());
  std::filesystem::create_directories(cacheFile().parent_path());
  const Job job = found->second(std::atoll(argv[2]));
  const std::uint64_t before = ks::gate::allocationCount();
  const double begin = threadSeconds();
  counted(job);
  const double end = threadSeconds();
  fmt::print("{} {:.9f}\n", ks::gate::allocationCount() - before, end - begin);
}
