#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace ks {

namespace {

double wrappedLongitude(double degrees) { return std::remainder(degrees, 360.0); }

CLLocationCoordinate2D between(CLLocationCoordinate2D a, CLLocationCoordinate2D b, double share) {
  // The short way round, also across the date line.
  const double east = wrappedLongitude(b.longitude - a.longitude);
  return {a.latitude + (b.latitude - a.latitude) * share,
          wrappedLongitude(a.longitude + east * share)};
}

}  // namespace

SimulatedWalk::SimulatedWalk(CLLocationCoordinate2D place)
    : SimulatedWalk(Date{}, {SimulatedWaypoint{.coordinate = place}}) {}

SimulatedWalk::SimulatedWalk(Date start, std::vector<SimulatedWaypoint> stops) {
  if (stops.empty()) throw std::invalid_argument("a walk needs a stop");
  for (const SimulatedWaypoint& stop : stops) {
    Date arrival = stop.arrival.value_or(start);
    if (!legs_.empty() && !stop.arrival) {
      if (!(stop.speed.value > 0)) throw std::invalid_argument("a walk needs a speed above 0");
      const Metres way = distanceBetween(legs_.back().coordinate, stop.coordinate);
      arrival = legs_.back().departure + Seconds{way.value / stop.speed.value};
    }
    if (!legs_.empty() && arrival < legs_.back().departure) {
      throw std::invalid_argument("a walk's stop is reached before the stop before it is left");
    }
    legs_.push_back({stop.coordinate, arrival, arrival + stop.pause, stop.accuracy});
  }
}

SimulatedWalk::Position SimulatedWalk::positionAt(Date date) const {
  if (legs_[last_].arrival > date) {
    const auto next = std::ranges::upper_bound(legs_, date, {}, &Leg::arrival);
    last_ = next == legs_.begin() ? 0 : static_cast<std::size_t>(next - legs_.begin() - 1);
  }
  while (last_ + 1 < legs_.size() && legs_[last_ + 1].arrival <= date) ++last_;
  const Leg& leg = legs_[last_];
  if (last_ + 1 == legs_.size() || date <= leg.departure) return {leg.coordinate, leg.accuracy};
  const Leg& next = legs_[last_ + 1];
  const double share = (date - leg.departure) / (next.arrival - leg.departure);
  return {between(leg.coordinate, next.coordinate, share), leg.accuracy};
}

}  // namespace ks
