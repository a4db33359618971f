#include "BeaconSDK/Platform/Simulated/SimulatedPositions.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "BeaconSDK/Platform/Simulated/NormalTable.h"

namespace ks {

namespace {

/// What is drawn for one second is drawn apart, so that no kind of error shifts another.
enum Salt : std::uint64_t { kNoise = 0, kRepeat = 1, kSpike = 2, kSpikePlace = 3 };

/// Of the 68% circle of errors that have a standard deviation of 1 in each direction.
constexpr double kRadiusOf68Percent = 1.51;
constexpr int kMostRepeats = 100;

SplitMix64 generator(std::uint64_t seed, std::int64_t number, std::uint64_t salt) {
  const auto own = SplitMix64::mix(static_cast<std::uint64_t>(number)) + salt;
  return SplitMix64(SplitMix64::mix(seed + own));
}

CLLocationCoordinate2D moved(CLLocationCoordinate2D place, double north, double east) {
  constexpr double kRadiansPerDegree = std::numbers::pi / 180;
  constexpr double kDegree = kRadiansPerDegree * kMeanEarthRadius.value;
  place.latitude = std::clamp(place.latitude + north / kDegree, -90.0, 90.0);
  const double cosine = std::max(std::cos(place.latitude * kRadiansPerDegree), 1e-6);
  place.longitude = std::remainder(place.longitude + east / (kDegree * cosine), 360.0);
  return place;
}

}  // namespace

double SimulatedPositions::chance(std::int64_t second, std::uint64_t salt) const {
  return generator(seed_, second, salt).uniform();
}

SimulatedPositions::Offset SimulatedPositions::draw(std::int64_t number, std::uint64_t salt) const {
  auto random = generator(seed_, number, salt);
  const double north = NormalTable::draw(random);
  return {north, NormalTable::draw(random)};
}

SimulatedPositions::Offset SimulatedPositions::offsetAt(std::int64_t second) const {
  const double memory = errors_.memory.count();
  if (memory <= 0) return draw(second, kNoise);
  // Between two independent errors, at each moment as large as they are.
  const double share = static_cast<double>(second) / memory;
  const double before = std::floor(share);
  const double weight = share - before;
  const double size = std::hypot(weight, 1 - weight);
  const auto from = draw(static_cast<std::int64_t>(before), kNoise);
  const auto to = draw(static_cast<std::int64_t>(before) + 1, kNoise);
  return {((1 - weight) * from.north + weight * to.north) / size,
          ((1 - weight) * from.east + weight * to.east) / size};
}

CLLocation SimulatedPositions::fixAt(const SimulatedWalk& walk, std::int64_t second,
                                     std::int64_t pause) const {
  for (int i = 0; i < kMostRepeats; ++i) {
    if (errors_.repeatProbability <= chance(second, kRepeat)) break;
    second -= pause;
  }
  const Date date = epoch_ + Seconds{static_cast<double>(second)};
  auto [coordinate, accuracy] = walk.positionAt(date);
  if (errors_.honest) {
    accuracy = std::max(accuracy, Metres{errors_.noise.value * kRadiusOf68Percent});
  }
  if (errors_.noise.value > 0) {
    const auto [north, east] = offsetAt(second);
    coordinate = moved(coordinate, north * errors_.noise.value, east * errors_.noise.value);
  }
  if (chance(second, kSpike) < errors_.spikeProbability) {
    auto random = generator(seed_, second, kSpikePlace);
    const double span = errors_.farthestSpike.value - errors_.nearestSpike.value;
    const double distance = errors_.nearestSpike.value + span * random.uniform();
    const double bearing = 2 * std::numbers::pi * random.uniform();
    coordinate = moved(coordinate, distance * std::cos(bearing), distance * std::sin(bearing));
    accuracy = errors_.honest ? Metres{distance} : errors_.spikeAccuracy;
  }
  return {coordinate, accuracy, date};
}

}  // namespace ks
