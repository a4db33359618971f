// Prints the tables of signal filters and of exits in docs/location.md: the same on every machine.
//
// usage: LocationFilters [STANDING WALKING]    other recordings than those in bench/recordings

#include <cstdio>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Location/Regions/PacketGaps.h"
#include "bench/filters/RecordedFigures.h"
#include "bench/filters/SignalFilters.h"
#include "tests/Location/RadioWalk.h"

namespace {

using namespace ks;
using bench::Estimator;
using bench::FilterKind;

constexpr int kWalks = 200;
constexpr double kIntervals[] = {0.1, 0.3, 1.0, 5.0};

struct Figures {
  double squaredError = 0;
  double samples = 0;
  double lag = 0;
  double wrong = 0;
  double seconds = 0;
  double changes = 0;
  double restless = 0;
};

/// Plays `duration` seconds and shows the estimate once a second.
template <class Visit>
void play(const test::RadioWalk& walk, double interval, double duration, const FilterKind& kind,
          std::uint64_t seed, Visit visit) {
  Estimator estimator(kind, kUsualMeasuredPower);
  test::Random random(seed);
  double next = interval * random.uniform();
  bool heard = false;
  for (double now = 1; now <= duration; ++now) {
    for (; next <= now; next += interval) {
      if (const auto rssi = walk.receive(next, random)) {
        estimator.add(Seconds{next}, *rssi);
        heard = true;
      }
    }
    if (heard) visit(now, estimator.value(), estimator.proximity(Seconds{now}));
  }
}

/// To a beacon from 12 m at 1.2 m/s, 20 s at 0.3 m, 20 s at 1.5 m, and away again.
double visitDistance(double time) {
  if (time < 9.75) return 12 - 1.2 * time;
  if (time < 30) return 0.3;
  if (time < 31) return 0.3 + 1.2 * (time - 30);
  if (time < 50) return 1.5;
  return std::min(12.0, 1.5 + 1.2 * (time - 50));
}

CLProximity trueProximity(double distance) { return proximityAtLoss(lossAtDb({distance})); }

void addStand(const FilterKind& kind, double interval, std::uint64_t seed, Figures& figures) {
  const test::RadioWalk stand{[](double) { return 2.0; }};
  const double truth = expectedRssi(kUsualMeasuredPower, {2}).value;
  play(stand, interval, 120, kind, seed, [&](double now, Dbm value, CLProximity) {
    if (now < 20) return;
    figures.squaredError += (value.value - truth) * (value.value - truth);
    ++figures.samples;
  });
}

/// From 8 m to 1 m at once: the seconds until the estimate is within 3 dB.
void addStep(const FilterKind& kind, double interval, std::uint64_t seed, Figures& figures) {
  test::RadioWalk step{[](double time) { return time < 60.5 ? 8.0 : 1.0; }};
  step.bodyLoss = 0;
  double arrived = 60;
  play(step, interval, 120, kind, seed, [&](double now, Dbm value, CLProximity) {
    if (now > 60.5 && arrived == 60 && value.value > kUsualMeasuredPower.value - 3) {
      arrived = now - 60.5;
    }
  });
  figures.lag += arrived / kWalks;
}

void addVisit(const FilterKind& kind, double interval, std::uint64_t seed, Figures& figures) {
  play({visitDistance}, interval, 70, kind, seed, [&](double now, Dbm, CLProximity shown) {
    figures.wrong += shown != trueProximity(visitDistance(now));
    ++figures.seconds;
  });
}

void addBorder(const FilterKind& kind, double interval, std::uint64_t seed, Figures& figures) {
  auto before = CLProximity::unknown;
  int changes = 0;
  const test::RadioWalk stand{[](double) { return 4.0; }};
  play(stand, interval, 600, kind, seed, [&](double, Dbm, CLProximity shown) {
    changes += before != CLProximity::unknown && shown != before;
    before = shown;
  });
  figures.changes += changes;
  figures.restless += changes > 1;
}

Figures measure(const FilterKind& kind, double interval) {
  Figures figures;
  for (std::uint64_t seed = 1; seed <= kWalks; ++seed) {
    addStand(kind, interval, seed, figures);
    addStep(kind, interval, seed, figures);
    addVisit(kind, interval, seed, figures);
    addBorder(kind, interval, seed, figures);
  }
  return figures;
}

void printSimulated() {
  std::printf(
      "| filter | interval | error | lag | wrong proximity | changes on a border | restless |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  for (const auto& kind : bench::allFilters()) {
    for (const double interval : kIntervals) {
      const auto figures = measure(kind, interval);
      std::printf("| %s | %.1f s | %.2f dB | %.1f s | %.1f%% | %.2f | %.1f%% |\n",
                  kind.name.c_str(), interval, std::sqrt(figures.squaredError / figures.samples),
                  figures.lag, 100 * figures.wrong / figures.seconds, figures.changes / kWalks,
                  100 * figures.restless / kWalks);
    }
  }
}

void printRecorded(const char* standing, const char* walking) {
  const auto stands = bench::loadRecordings(standing);
  const auto walks = bench::loadRecordings(walking);
  std::printf(
      "\n| filter | right band | band of the mean | never arrived | arrival | never left | leaving "
      "| restless at 80%% loss | border: 0.45 s | 2 s, 30%% | 5 s, 30%% | right band walking |\n");
  std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|\n");
  for (const auto& kind : bench::allFilters()) {
    const auto f = bench::measure(kind, stands, walks);
    std::printf(
        "| %s | %.1f%% | %.1f%% | %.1f%% | %.1f s | %.1f%% | %.1f s | %.1f%% | %.2f | %.2f | %.2f "
        "| %.1f%% |\n",
        kind.name.c_str(), f.rightBand, f.meanBand, f.approaches.neverArrived, f.approaches.seconds,
        f.departures.neverArrived, f.departures.seconds, f.restless, f.border, f.slowBorder,
        f.slowestBorder, f.walking);
  }
}

/// A beacon that is there for 100 days: how often it is given up, and how long its silence may be.
void printExits(double interval, double loss) {
  constexpr double kDays = 100;
  test::Random random(7);
  PacketGaps gaps;
  int falseExits = 0;
  double last = 0;
  double limits = 0;
  double longest = 0;
  double packets = 0;
  gaps.heard(Seconds{0});
  for (double time = interval; time < kDays * 86400; time += interval) {
    if (random.uniform() < loss) continue;
    falseExits += time - last > gaps.silenceLimit().count();
    last = time;
    gaps.heard(Seconds{time});
    const double limit = gaps.silenceLimit().count();
    // The first hour is learning.
    if (time < 3600) continue;
    limits += limit;
    longest = std::max(longest, limit);
    ++packets;
  }
  std::printf("| %.1f s | %.0f%% | %d | %.0f s | %.0f s |\n", interval, 100 * loss, falseExits,
              limits / packets, longest);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3) {
    printRecorded(argv[1], argv[2]);
    return 0;
  }
  printSimulated();
  printRecorded(KS_RECORDINGS "/standing.txt", KS_RECORDINGS "/walking.txt");
  std::printf("\n| interval | lost packets | false exits in 100 days | mean limit | longest |\n");
  std::printf("|---|---|---|---|---|\n");
  printExits(0.1, 0.3);
  printExits(1, 0.1);
  printExits(1, 0.3);
  printExits(1, 0.45);
  printExits(1, 0.5);
  printExits(2, 0.5);
  printExits(5, 0.1);
  printExits(5, 0.5);
  printExits(10, 0.5);
}
