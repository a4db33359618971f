#include "bench/filters/RecordedFigures.h"

#include <map>
#include <optional>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks::bench {

namespace {

constexpr Seconds kTenMinutes{600};
constexpr Seconds kApproach{60};
// Nearer to a border than this, which band is right is a matter of luck.
constexpr double kClearDb = 1;

/// Calls `visit(packet, proximity)` after each usable packet.
template <class Visit>
void play(const FilterKind& kind, const Recording& recording, Visit visit) {
  Estimator estimator(kind, recording.power);
  for (const auto& packet : recording.packets) {
    if (!isUsable(packet.rssi)) continue;
    estimator.add(packet.time, packet.rssi);
    visit(packet, estimator.proximity(packet.time));
  }
}

int changes(const FilterKind& kind, const Recording& recording) {
  int count = 0;
  auto shown = CLProximity::unknown;
  play(kind, recording, [&](const RecordedPacket& packet, CLProximity proximity) {
    if (packet.time > kTenMinutes || proximity == CLProximity::unknown) return;
    count += shown != CLProximity::unknown && shown != proximity;
    shown = proximity;
  });
  return count;
}

/// Adds the time in the right band to `right`, and all time to `total`.
template <class Truth>
void addRight(const FilterKind& kind, const Recording& recording, Truth truth, double& right,
              double& total) {
  std::optional<Seconds> last;
  auto shown = CLProximity::unknown;
  play(kind, recording, [&](const RecordedPacket& packet, CLProximity proximity) {
    if (last && shown != CLProximity::unknown) {
      const double span = (packet.time - *last).count();
      total += span;
      right += shown == truth(packet) ? span : 0;
    }
    last = packet.time;
    shown = proximity;
  });
}

CLProximity trueBand(const RecordedPacket& packet) {
  return proximityAtLoss(lossAtDb({std::max(packet.distance.value, 0.01)}));
}

/// The first minute of one recording, then that of another.
Recording joined(const Recording& from, const Recording& to) {
  Recording result{from.receiver, true, from.power, {}};
  for (const auto& packet : from.packets) {
    if (packet.time < kApproach) result.packets.push_back(packet);
  }
  for (auto packet : to.packets) {
    if (packet.time > kApproach) break;
    packet.time += kApproach;
    result.packets.push_back(packet);
  }
  return result;
}

/// When the band of the second recording is reached; absent when it never is.
std::optional<double> arrivalOf(const FilterKind& kind, const Recording& from,
                                const Recording& to) {
  const auto target = proximityAtLoss(to.meanLossDb(kApproach));
  std::optional<double> arrival;
  play(kind, joined(from, to), [&](const RecordedPacket& packet, CLProximity proximity) {
    if (packet.time <= kApproach || proximity != target || arrival) return;
    arrival = (packet.time - kApproach).count();
  });
  return arrival;
}

bool isClear(const Recording& recording) {
  const double loss = recording.meanLossDb(kApproach);
  return proximityAtLoss(loss - kClearDb) == proximityAtLoss(loss + kClearDb);
}

/// From stands that are far to those that are not, or the other way round.
RecordedFigures::Moves measureMoves(const FilterKind& kind, const std::vector<Recording>& standing,
                                    bool inwards) {
  int moves = 0;
  int never = 0;
  double seconds = 0;
  const auto isFar = [](const Recording& recording) {
    return proximityAtLoss(recording.meanLossDb(kApproach)) == CLProximity::far;
  };
  for (const auto& from : standing) {
    if (!isClear(from) || isFar(from) != inwards) continue;
    for (const auto& to : standing) {
      if (to.receiver != from.receiver || isFar(to) == inwards || !isClear(to)) continue;
      const auto arrival = arrivalOf(kind, from, to);
      ++moves;
      never += !arrival;
      seconds += arrival.value_or(0);
    }
  }
  if (moves == 0) return {};
  return {100.0 * never / moves, seconds / std::max(moves - never, 1)};
}

/// Changes per ten minutes of all stands, each moved onto the border.
double onBorder(const FilterKind& kind, const std::vector<Recording>& standing, double loss,
                Seconds gap) {
  double count = 0;
  double time = 0;
  std::uint64_t seed = 0;
  for (const auto& recording : standing) {
    auto moved = thinned(recording, loss, gap, ++seed);
    moved.power.value += lossAtDb(kNearBorder) - recording.meanLossDb();
    count += changes(kind, moved);
    time += std::min(recording.packets.back().time, kTenMinutes).count();
  }
  return count / time * kTenMinutes.count();
}

}  // namespace

RecordedFigures measure(const FilterKind& kind, const std::vector<Recording>& standing,
                        const std::vector<Recording>& walking) {
  RecordedFigures figures;
  double right = 0;
  double meanRight = 0;
  double total = 0;
  double same = 0;
  std::uint64_t seed = 0;
  for (const auto& recording : standing) {
    const auto meanBand = proximityAtLoss(recording.meanLossDb());
    addRight(kind, recording, trueBand, right, total);
    addRight(
        kind, recording, [&](const auto&) { return meanBand; }, meanRight, same);
    figures.restless += changes(kind, thinned(recording, 0.8, Seconds{0}, ++seed)) > 1;
  }
  figures.rightBand = 100 * right / total;
  figures.meanBand = 100 * meanRight / same;
  figures.restless *= 100.0 / static_cast<double>(standing.size());
  figures.approaches = measureMoves(kind, standing, true);
  figures.departures = measureMoves(kind, standing, false);
  figures.border = onBorder(kind, standing, 0, Seconds{0});
  figures.slowBorder = onBorder(kind, standing, 0.3, Seconds{1.8});
  figures.slowestBorder = onBorder(kind, standing, 0.3, Seconds{4.8});
  right = total = 0;
  for (const auto& recording : walking) addRight(kind, recording, trueBand, right, total);
  figures.walking = 100 * right / total;
  return figures;
}

}  // namespace ks::bench
