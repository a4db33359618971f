#include "BeaconSDK/Platform/Simulated/SimulatedWorld.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <string_view>
#include <tuple>

#include "BeaconSDK/Platform/Simulated/NormalTable.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SplitMix64.h"

namespace ks {

namespace {

/// Advertising times are counted from here, so that they are the same whenever a device starts.
constexpr Date kEpoch = kSimulatedStart;

/// The shortest advertising interval of the radio's standard.
constexpr Seconds kShortestInterval{0.02};

/// Nearer than this a beacon is not heard any better: the antennas touch.
constexpr double kNearestMetres = 0.1;

/// Neighbours are looked for this much beyond their reach: a walk of some minutes.
constexpr double kNeighbourhoodMetres = 300;

constexpr double kRadiansPerDegree = std::numbers::pi / 180;

/// The flat distance, good to a millionth over a beacon's reach and much faster.
double flatDistance(CLLocationCoordinate2D a, CLLocationCoordinate2D b, double cosine) {
  const double north = b.latitude - a.latitude;
  double east = b.longitude - a.longitude;
  if (std::abs(east) > 180) east = std::remainder(east, 360.0);
  east *= cosine;
  return std::sqrt(north * north + east * east) * kRadiansPerDegree * kMeanEarthRadius.value;
}

double cosineOf(double latitude) { return std::cos(latitude * kRadiansPerDegree); }

/// Radios report whole decibels, from -127 to 20.
double reportedStrength(double strength) {
  return static_cast<double>(static_cast<int>(std::clamp(strength, -127.0, 20.0) + 127.5) - 127);
}

/// A random static address of the radio's standard: its two highest bits are set.
std::string addressFrom(std::uint64_t seed) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  seed |= 0xC0;
  std::string text;
  for (int i = 0; i < 6; ++i, seed >>= 8) {
    if (i > 0) text += ':';
    text += kDigits[(seed >> 4) & 0xF];
    text += kDigits[seed & 0xF];
  }
  return text;
}

}  // namespace

/// One kind of advertisement of a beacon, sent again and again.
struct SimulatedWorld::Broadcast {
  Advertisement advertisement;
  double interval;
  /// Of the advertisement number 0, in seconds after the epoch.
  double phase;
  std::uint64_t seed;
};

struct SimulatedWorld::Sender {
  Sender(BeaconId id, SimulatedBeacon placed, const SimulatedWorldOptions& world)
      : beacon(std::move(placed)), order(id) {
    const std::uint64_t seed = SplitMix64::mix(world.seed ^ SplitMix64::mix(id));
    const std::string address = addressFrom(SplitMix64::mix(seed + 1));
    const auto addBroadcast = [&](const Data& bytes, Seconds interval, std::uint64_t salt) {
      const double seconds = std::max(interval, kShortestInterval).count();
      const std::uint64_t own = SplitMix64::mix(seed + salt);
      broadcasts.push_back({parseAdvertisement(address, bytes, Dbm{0}), seconds,
                            SplitMix64(own).uniform() * seconds, own});
    };
    addBroadcast(frameAdvertisement(beacon), beacon.interval, 2);
    if (beacon.battery) addBroadcast(batteryAdvertisement(beacon), beacon.battery->interval, 3);

    power = beacon.measuredPower.value + beacon.calibrationError.value;
    const double margin = power + kWidestNoise * beacon.noise.value +
                          world.propagation.largestOffset() - world.sensitivity.value;
    reach = std::pow(10, std::min(margin / (10 * world.pathLossExponent), 7.0));
  }

  SimulatedBeacon beacon;
  BeaconId order;
  double power = 0;
  /// Beyond it nothing is ever received, in metres.
  double reach = 0;
  std::vector<Broadcast> broadcasts;
};

struct SimulatedWorld::Neighbour {
  const Sender* sender;
  Broadcast* broadcast;
  /// Without noise, where the device stands now.
  double strength;
  bool inReach;
};

/// One advertisement on its way to the antenna.
struct SimulatedWorld::Signal {
  double at;
  BeaconId order;
  Broadcast* broadcast;
  double strength;

  bool operator<(const Signal& other) const {
    return std::tie(at, order) < std::tie(other.at, other.order);
  }
};

SimulatedWorld::SimulatedWorld(DispatchQueue& mainQueue, const Clock& clock,
                               SimulatedWorldReceiver& receiver, SimulatedWorldOptions options)
    : mainQueue_(mainQueue),
      clock_(clock),
      receiver_(receiver),
      options_(options),
      positions_(options.seed, kEpoch, options.positionErrors) {}

SimulatedWorld::~SimulatedWorld() { mainQueue_.cancel(timer_); }

void SimulatedWorld::setWalk(SimulatedWalk walk) { walk_ = std::move(walk); }

SimulatedWorld::BeaconId SimulatedWorld::addBeacon(SimulatedBeacon beacon) {
  insert(++lastBeacon_, std::move(beacon));
  return lastBeacon_;
}

const SimulatedBeacon* SimulatedWorld::beacon(BeaconId id) const {
  const auto found = senders_.find(id);
  return found == senders_.end() ? nullptr : &found->second->beacon;
}

void SimulatedWorld::setBeacon(BeaconId id, SimulatedBeacon beacon) {
  if (!senders_.contains(id)) return;
  removeBeacon(id);
  insert(id, std::move(beacon));
}

void SimulatedWorld::removeBeacon(BeaconId id) {
  auto node = senders_.extract(id);
  if (node.empty()) return;
  retired_.push_back(std::move(node.mapped()));
  neighboursPlace_.reset();
}

void SimulatedWorld::insert(BeaconId id, SimulatedBeacon beacon) {
  senders_.emplace(id, std::make_unique<Sender>(id, std::move(beacon), options_));
  neighboursPlace_.reset();
}

void SimulatedWorld::setListening(bool toBeacons, bool toPositions) {
  listensToBeacons_ = toBeacons;
  listensToPositions_ = toPositions;
  if (!toPositions) lastFix_ = std::numeric_limits<std::int64_t>::min();
  if (toBeacons || toPositions) {
    scheduleTick();
  } else {
    mainQueue_.cancel(std::exchange(timer_, 0));
  }
}

void SimulatedWorld::setPositionInterval(Seconds interval) {
  if (options_.fixesFollowDemand) wantedPause_ = static_cast<std::int64_t>(interval.count());
}

void SimulatedWorld::scheduleTick() {
  if (timer_ != 0) return;
  const double now = secondsBetween(kEpoch, clock_.now());
  const std::int64_t next = std::max(static_cast<std::int64_t>(std::floor(now)), tick_) + 1;
  timer_ = mainQueue_.after(Seconds{static_cast<double>(next) - now}, [this, next] { tick(next); });
}

void SimulatedWorld::tick(std::int64_t second) {
  timer_ = 0;
  tick_ = second;
  retired_.clear();
  if (listensToPositions_) reportPosition();
  if (listensToBeacons_) reportAdvertisements();
  if (listensToBeacons_ || listensToPositions_) scheduleTick();
}

void SimulatedWorld::reportPosition() {
  const auto pause = std::max(options_.secondsBetweenFixes, wantedPause_);
  if (lastFix_ >= tick_ - pause + 1) return;
  lastFix_ = tick_;
  const Date now = clock_.now();
  const bool lost =
      std::ranges::any_of(outages_, [&](const DateInterval& span) { return span.contains(now); });
  if (lost) {
    receiver_.positionLost();
    return;
  }
  receiver_.didFix(positions_.fixAt(walk_, tick_, pause));
}

void SimulatedWorld::findNeighbours(CLLocationCoordinate2D place) {
  neighbours_.clear();
  const double cosine = cosineOf(place.latitude);
  for (const auto& [id, sender] : senders_) {
    const double distance = flatDistance(place, sender->beacon.coordinate, cosine);
    if (distance <= sender->reach + kNeighbourhoodMetres) {
      for (Broadcast& broadcast : sender->broadcasts) {
        neighbours_.push_back({sender.get(), &broadcast, 0, false});
      }
    }
  }
  // With intervals of whole seconds this is the order in which they are heard in each tick.
  std::ranges::stable_sort(neighbours_, {}, [](const Neighbour& neighbour) {
    return std::fmod(neighbour.broadcast->phase, 1.0);
  });
  neighboursPlace_ = place;
  strengthsPlace_.reset();
}

void SimulatedWorld::updateStrengths(CLLocationCoordinate2D place) {
  const double cosine = cosineOf(place.latitude);
  for (Neighbour& neighbour : neighbours_) {
    const Sender& sender = *neighbour.sender;
    const double distance = flatDistance(place, sender.beacon.coordinate, cosine);
    neighbour.inReach = distance <= sender.reach;
    if (!neighbour.inReach) continue;
    const double loss = 10 * options_.pathLossExponent;
    neighbour.strength = sender.power - loss * std::log10(std::max(distance, kNearestMetres));
  }
  strengthsPlace_ = place;
}

void SimulatedWorld::reportAdvertisements() {
  const CLLocationCoordinate2D place = walk_.positionAt(clock_.now()).coordinate;
  if (!neighboursPlace_ ||
      flatDistance(*neighboursPlace_, place, cosineOf(place.latitude)) > kNeighbourhoodMetres) {
    findNeighbours(place);
  }
  if (strengthsPlace_ != place) updateStrengths(place);
  signals_.clear();
  for (const Neighbour& neighbour : neighbours_) {
    if (neighbour.inReach) collectSignals(neighbour);
  }
  if (!std::is_sorted(signals_.begin(), signals_.end()))
    std::sort(signals_.begin(), signals_.end());
  for (const Signal& signal : signals_) {
    Advertisement& advertisement = signal.broadcast->advertisement;
    advertisement.rssi = Dbm{signal.strength};
    advertisement.age = Seconds{static_cast<double>(tick_) - signal.at};
    receiver_.didReceiveAdvertisement(advertisement);
  }
}

void SimulatedWorld::collectSignals(const Neighbour& neighbour) {
  const SimulatedBeacon& beacon = neighbour.sender->beacon;
  const Broadcast& broadcast = *neighbour.broadcast;
  const auto to = static_cast<double>(tick_);
  const auto& air = options_.propagation;
  // What was sent late belongs to the second in which it was due.
  const double before = std::floor((to - 1 - broadcast.phase) / broadcast.interval);
  for (auto number = static_cast<std::int64_t>(before) + 1;; ++number) {
    const double due = broadcast.phase + static_cast<double>(number) * broadcast.interval;
    if (due > to) break;
    const double at = std::min(due + air.delay(broadcast.seed, number).count(), to);
    // Drawn afresh from the number: what is not listened to changes nothing that comes later.
    SplitMix64 random(SplitMix64::mix(broadcast.seed + static_cast<std::uint64_t>(number)));
    if (beacon.lossProbability > 0 && random.uniform() < beacon.lossProbability) continue;
    double strength = neighbour.strength;
    if (beacon.noise.value > 0) strength += beacon.noise.value * NormalTable::draw(random);
    strength += air.offset(broadcast.seed, number, kEpoch + Seconds{at});
    strength = reportedStrength(strength);
    const Date date = kEpoch + Seconds{at};
    if (strength < options_.sensitivity.value || !beacon.isOn(date)) continue;
    if (air.swallows(broadcast.seed, date)) continue;
    signals_.push_back({at, neighbour.sender->order, neighbour.broadcast, strength});
  }
}

}  // namespace ks
