#include <algorithm>

#include "bench/gate/Gate.h"
#include "bench/gate/Station.h"

namespace ks::gate {

namespace {

constexpr Seconds kDay{24 * 3600};
constexpr Seconds kHour{3600};

std::string inSeconds(double interval) {
  return std::to_string(interval).substr(0, interval < 10 ? 3 : 4) + " s";
}

std::string conditions(double interval, double loss) {
  return inSeconds(interval) + ", " + std::to_string(static_cast<int>(100 * loss + 0.5)) + "% lost";
}

std::vector<double> ofOthers(const Station& station, int Bystander::*number) {
  std::vector<double> result;
  for (const auto& other : station.others) result.push_back(other.*number);
  return result;
}

/// Notifications and exits of a day at 2 m.
std::vector<Figure> aDay(SimulatedBeacon beacon, SimulatedPropagation propagation,
                         double notifications, double exits) {
  SimulatedPlatformOptions options;
  options.propagation = std::move(propagation);
  Station station(std::move(beacon), Metres{2}, options);
  station.pass(kDay);
  return {
      {"not notified", station.notifications == 0 ? 1.0 : 0.0, 0},
      {"notifications", static_cast<double>(station.notifications), notifications,
       ofOthers(station, &Bystander::notifications)},
      {"exits", static_cast<double>(station.exits), exits, ofOthers(station, &Bystander::exits)}};
}

Row standing(double interval, double loss) {
  return {"a day at 2 m, " + conditions(interval, loss),
          [=] { return aDay(beaconOf(interval, loss), {}, 2, 0); }};
}

/// Once an hour nothing is heard for a while.
Row outages(double length, double notifications, double exits) {
  return {"a day at 2 m, 1 s, 30% lost, " + inSeconds(length) + " deaf every hour", [=] {
            SimulatedPropagation propagation;
            for (auto at = kSimulatedStart + kHour; at < kSimulatedStart + kDay; at += kHour) {
              propagation.outages.push_back({at, at + Seconds{length}});
            }
            return aDay(beaconOf(1, 0.3), propagation, notifications, exits);
          }};
}

/// Bodies, doors and echoes, and losses that come together.
Row unkind(double notifications) {
  return {"a day at 2 m, 1 s, 30% lost, bodies, echoes and bursts", [=] {
            SimulatedPropagation propagation;
            propagation.advertisingJitter = Seconds{0.01};
            propagation.shadowing = Dbm{2};
            propagation.bodyLoss = Dbm{9};
            propagation.ricianFactor = 6;
            propagation.burstShare = 0.1;
            return aDay(beaconOf(1, 0.3), propagation, notifications, 0);
          }};
}

/// So far away that one packet in `share` arrives.
Row edgeOfRange(double distance, double crossings) {
  return {"a day at the edge of range, " + std::to_string(static_cast<int>(distance)) + " m", [=] {
            Station station(beaconOf(1, 0.1), Metres{distance});
            station.pass(kDay);
            return std::vector<Figure>{{"exits", static_cast<double>(station.exits), crossings,
                                        ofOthers(station, &Bystander::exits)}};
          }};
}

/// The longest time, of 40 visits, from the last packet to the exit.
Row switchedOff(double interval, double loss, double limit) {
  return {"switched off, " + conditions(interval, loss), [=] {
            double longest = 0;
            for (std::uint64_t seed = 1; seed <= 40; ++seed) {
              SimulatedPlatformOptions options;
              options.seed = seed;
              auto beacon = beaconOf(interval, loss);
              const Date off = kSimulatedStart + Seconds{600};
              beacon.off = {{off, off + kDay}};
              Station station(std::move(beacon), Metres{2}, options);
              station.pass(kHour);
              const bool once = station.exits == 1 && station.lastExit >= off;
              longest = std::max(longest, once ? secondsBetween(off, station.lastExit) : 1e9);
            }
            return std::vector<Figure>{{"seconds to the exit", longest, limit}};
          }};
}

}  // namespace

std::vector<Row> presenceRows() {
  return {standing(0.3, 0.8),        standing(1, 0.3),
          standing(1, 0.5),          standing(5, 0.3),
          standing(5, 0.8),          standing(10, 0.5),
          standing(10, 0.8),         outages(25, 2, 0),
          outages(45, 2, 1),         unkind(10),
          edgeOfRange(150, 0),       edgeOfRange(250, 0),
          switchedOff(0.3, 0.3, 40), switchedOff(1, 0.3, 40),
          switchedOff(5, 0.5, 250)};
}

}  // namespace ks::gate
