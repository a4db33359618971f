// What a refresh of many locations costs the main queue: the library through its front, on a
// device in virtual time, with real transfers over loopback. Thread time, so that other programs
// do not count.

#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include "BeaconSDK/Classes/Manager/KSProximityManager.h"
#include "BeaconSDK/Platform/Common/ForwardingPlatform.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "bench/SiteDocuments.h"
#include "tests/Http/LoopbackServer.h"

namespace {

struct Neighbourhood {
  int locations = 0;
  int zones = 0;
};
constexpr double kRefreshInterval = 3600;
/// Longer than the refresh interval and the zone check after it.
constexpr ks::Seconds kUntilRefreshed{2 * kRefreshInterval};

double threadMilliseconds() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

struct Turns {
  double total = 0;
  double longest = 0;
  int count = 0;

  void run(const ks::Task& task) {
    const double start = threadMilliseconds();
    task();
    const double spent = threadMilliseconds() - start;
    total += spent;
    longest = std::max(longest, spent);
    ++count;
  }
};

/// The device's main queue, each of whose tasks is timed.
class TimedQueue : public ks::DispatchQueue {
 public:
  TimedQueue(ks::DispatchQueue& queue, Turns& turns) : queue_(queue), turns_(turns) {}

  void async(ks::Task task) override { queue_.async(timed(std::move(task))); }
  void sync(const ks::Task& task) override { queue_.sync(task); }
  ks::TimerId after(ks::Seconds delay, ks::Task task) override {
    return queue_.after(delay, timed(std::move(task)));
  }
  void cancel(ks::TimerId timer) override { queue_.cancel(timer); }
  bool isCurrent() const override { return queue_.isCurrent(); }

 private:
  ks::Task timed(ks::Task task) {
    return [this, task = std::move(task)] { turns_.run(task); };
  }

  ks::DispatchQueue& queue_;
  Turns& turns_;
};

class TimedPlatform : public ks::ForwardingPlatform {
 public:
  TimedPlatform(ks::Platform& device, Turns& turns)
      : ForwardingPlatform(device), mainQueue_(device.mainQueue(), turns) {}
  ks::DispatchQueue& mainQueue() override { return mainQueue_; }

 private:
  TimedQueue mainQueue_;
};

std::string locationsDocument(int count) {
  std::string document = "[";
  for (int i = 0; i < count; ++i) {
    document += fmt::format(R"({}{{"id":"L{}","name":"Shop {}","latitude":45.1,"longitude":7.6,)"
                            R"("refreshIntervalSeconds":{}}})",
                            i == 0 ? "" : ",", i, i, kRefreshInterval);
  }
  return document + "]";
}

/// A portal of `size.locations` locations with `size.zones` zones each.
ks::test::RawReply answer(const ks::test::RawRequest& request, const Neighbourhood& size) {
  const std::string& target = request.target;
  const auto found = target.find("location=");
  if (target.find("/locations") != target.npos) {
    return {ks::test::httpReply(locationsDocument(size.locations))};
  }
  if (found != target.npos) {
    const std::string site = target.substr(found + 9, target.find('&', found) - found - 9);
    return {ks::test::httpReply(ks::bench::zonesDocument(size.zones, site))};
  }
  return {ks::test::httpReply(R"([{"id":"7"}])")};
}

void print(const char* step, const Neighbourhood& size, const Turns& turns) {
  fmt::print("{:>9} {:>7} {:<8} {:>9.1f} {:>12.3f} {:>8.2f} {:>7}\n", size.locations, size.zones,
             step, turns.total, turns.total / size.locations, turns.longest, turns.count);
}

void measure(const Neighbourhood& size) {
  const int locations = size.locations;
  ks::test::LoopbackServer portal([&](const auto& request) { return answer(request, size); });
  ks::SimulatedPlatform device;
  Turns turns;
  const auto platform = std::make_shared<TimedPlatform>(device, turns);
  ks::Platform::install(platform);
  device.world().placeDevice({45.1, 7.6});
  auto manager = KSProximityManager::initWithUsername("u", "p", ks::NSURL{portal.url()}, {});
  int zonesReplaced = 0;
  const auto observer = device.notificationCenter().addObserver(
      KSProximityManagerProximityZonesForLocationUpdatedNotification,
      [&](const ks::NSNotification&) { ++zonesReplaced; });
  manager->start([](const auto&) {});
  device.advance(ks::Seconds{600});
  print("first", size, turns);
  const int first = std::exchange(zonesReplaced, 0);
  turns = {};
  device.advance(kUntilRefreshed);
  print("refresh", size, turns);
  if (first < locations || zonesReplaced < locations) {
    fmt::print("only {} and {} locations were refreshed\n", first, zonesReplaced);
  }
  manager.reset();
  device.runUntilIdle();
  ks::Platform::install(nullptr);
}

}  // namespace

/// usage: RefreshTurns [LOCATIONS ZONES]...
int main(int count, char** arguments) {
  fmt::print("{:>9} {:>7} {:<8} {:>9} {:>12} {:>8} {:>7}\n", "locations", "zones", "", "main, ms",
             "a location, ms", "turn, ms", "turns");
  for (int i = 1; i + 1 < count; i += 2) {
    measure({std::atoi(arguments[i]), std::atoi(arguments[i + 1])});
  }
  if (count > 1) return 0;
  for (const Neighbourhood& size :
       {Neighbourhood{10, 100}, {50, 100}, {100, 100}, {200, 100}, {200, 500}}) {
    measure(size);
  }
}
