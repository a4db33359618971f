#include "tools/ksbeacon/scenario/Visitor.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

#include "BeaconSDK/Platform/Simulated/SplitMix64.h"

namespace ks::tool {

namespace {

constexpr Seconds kDay{24 * 3600};
/// The library notices that a zone was left half a minute later; nothing is missed after twice
/// that.
constexpr Seconds kAfterwards{60};

class VisitorMaker {
 public:
  VisitorMaker(const Scenario& scenario, std::uint64_t number)
      : population_(*scenario.population),
        random_(SplitMix64::mix(scenario.seed + SplitMix64::mix(number))),
        visitor_(scenario) {}

  Scenario make() {
    visitor_.seed = random_.next() >> 12;
    visitor_.events.clear();
    visitor_.expectations.clear();
    visitor_.population.reset();
    visitor_.devices.clear();
    takePhone();
    speed_ = {between(population_.speed)};
    walk();
    return std::move(visitor_);
  }

 private:
  double between(Population::Range range) {
    return range.least + (range.most - range.least) * random_.uniform();
  }

  template <typename Item>
  const Item& pick(const std::vector<Item>& items, double Item::*weight) {
    double sum = 0;
    for (const Item& item : items) sum += item.*weight;
    double left = sum * random_.uniform();
    const Item* last = nullptr;
    for (const Item& item : items) {
      if (item.*weight <= 0) continue;
      last = &item;
      left -= item.*weight;
      if (left < 0) break;
    }
    return *last;
  }

  void takePhone() {
    const Population::Phone& phone = pick(population_.phones, &Population::Phone::weight);
    visitor_.radio.receiverGain.value += between(phone.receiverGain);
    visitor_.permission = phone.permission.value_or(visitor_.permission);
    Scenario::Application& application = visitor_.application;
    application.foreground = phone.foreground.value_or(application.foreground);
    auto& disabled = application.disabledCategories;
    disabled.insert(disabled.end(), phone.disabledCategories.begin(),
                    phone.disabledCategories.end());
    if (phone.hasBluetooth) return;
    Scenario::Event off;
    off.kind = Scenario::Event::Kind::setBluetooth;
    visitor_.events.push_back(off);
  }

  /// The days of the visits in order, each at most once.
  std::vector<int> drawDays() {
    const int count = pick(population_.visits, &Population::Visits::weight).days;
    std::vector<int> days(static_cast<std::size_t>(population_.days));
    std::iota(days.begin(), days.end(), 0);
    for (std::size_t i = 0; i + 1 < days.size(); ++i) {
      const auto left = static_cast<double>(days.size() - i);
      std::swap(days[i], days[i + static_cast<std::size_t>(left * random_.uniform())]);
    }
    days.resize(static_cast<std::size_t>(count));
    std::ranges::sort(days);
    return days;
  }

  /// Anywhere in the place's circle.
  CLLocationCoordinate2D somewhereIn(const Population::Place& place) {
    constexpr double kDegree = 180 / std::numbers::pi;
    const double away = place.radius.value * std::sqrt(random_.uniform());
    const double angle = 2 * std::numbers::pi * random_.uniform();
    const double degrees = away / kMeanEarthRadius.value * kDegree;
    const double shrink = std::max(0.01, std::cos(place.coordinate.latitude / kDegree));
    return {place.coordinate.latitude + degrees * std::cos(angle),
            place.coordinate.longitude + degrees * std::sin(angle) / shrink};
  }

  void stopAt(const Population::Place& place, Date& now) {
    SimulatedWaypoint stop;
    stop.coordinate = somewhereIn(place);
    stop.speed = speed_;
    stop.accuracy = accuracy_;
    stop.pause = Seconds{between(place.stay)};
    auto& stops = visitor_.walk.stops;
    if (isAway_) {
      stop.arrival = now;
    } else {
      now +=
          Seconds{distanceBetween(stops.back().coordinate, stop.coordinate).value / speed_.value};
    }
    isAway_ = false;
    now += stop.pause;
    stops.push_back(stop);
  }

  /// Returns when it is over.
  Date visit(Date arrival) {
    Date now = arrival;
    isAway_ = true;
    const auto* place = &pick(population_.places, &Population::Place::entry);
    stopAt(*place, now);
    while (now - arrival < population_.longest) {
      const Population::Way& way = pick(place->ways, &Population::Way::weight);
      if (!way.to) break;
      place = &population_.places[*way.to];
      stopAt(*place, now);
    }
    return now + kAfterwards;
  }

  Date drawArrival(int day) {
    const Population::Arrival& span = pick(population_.arrivals, &Population::Arrival::weight);
    const Seconds moment = kDay * day + Seconds{between({span.from.count(), span.to.count()})};
    // Whole milliseconds, as timelines count.
    return first_ + Seconds{std::floor(moment.count() * 1000) / 1000};
  }

  void walk() {
    accuracy_ = visitor_.walk.stops.front().accuracy;
    visitor_.walk.stops.clear();
    first_ = visitor_.start;
    std::optional<Date> left;
    for (const int day : drawDays()) {
      // A late visit may run into the next day's.
      const Date arrival = std::max(drawArrival(day), left.value_or(first_));
      if (left) rest(*left, arrival);
      if (!left) begin(arrival);
      left = visit(arrival);
    }
    visitor_.until = *left - visitor_.start;
  }

  /// What counts from the scenario's start counts from the visitor's arrival now.
  void begin(Date arrival) {
    const Seconds later = arrival - visitor_.start;
    visitor_.start = arrival;
    for (Scenario::Fault& fault : visitor_.faults) {
      fault.from -= later;
      fault.to -= later;
    }
    std::erase_if(visitor_.faults,
                  [](const Scenario::Fault& fault) { return fault.to.count() <= 0; });
    for (Scenario::Fault& fault : visitor_.faults) fault.from = std::max(fault.from, Seconds{0});
  }

  void rest(Date from, Date to) {
    Scenario::Event restart;
    restart.kind = Scenario::Event::Kind::restart;
    restart.at = from - visitor_.start;
    restart.downtime = to - from;
    visitor_.events.push_back(restart);
  }

  const Population& population_;
  SplitMix64 random_;
  Scenario visitor_;
  Date first_;
  MetresPerSecond speed_;
  Metres accuracy_;
  /// The next stop begins a visit.
  bool isAway_ = true;
};

}  // namespace

Scenario visitorOf(const Scenario& scenario, std::uint64_t number) {
  return VisitorMaker(scenario, number).make();
}

}  // namespace ks::tool
