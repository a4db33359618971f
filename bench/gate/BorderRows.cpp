#include <algorithm>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "bench/gate/Gate.h"
#include "bench/gate/Station.h"

namespace ks::gate {

namespace {

constexpr Seconds kTenMinutes{600};

/// The most changes in ten minutes of four hours on the border between near and far.
Row onBorder(double interval, double limit) {
  return {"on the 4 m border, " + std::to_string(interval).substr(0, 3) + " s, 30% lost", [=] {
            Station station(beaconOf(interval, 0.3), kNearBorder);
            int most = 0;
            std::vector<double> others(station.others.size());
            for (int i = 0; i < 24; ++i) {
              station.changes = 0;
              for (auto& other : station.others) other.changes = 0;
              station.pass(kTenMinutes);
              most = std::max(most, station.changes);
              for (std::size_t k = 0; k < others.size(); ++k) {
                others[k] = std::max(others[k], static_cast<double>(station.others[k].changes));
              }
            }
            return std::vector<Figure>{
                {"changes in ten minutes", static_cast<double>(most), limit, others}};
          }};
}

/// The share, of 500 arrivals, of a first proximity that is wrong.
Row arriving(double distance, CLProximity right, double limit) {
  return {"arriving " + std::to_string(static_cast<int>(distance)) + " m from a beacon", [=] {
            int wrong = 0;
            for (std::uint64_t seed = 1; seed <= 500; ++seed) {
              SimulatedPlatformOptions options;
              options.seed = seed;
              Station station(beaconOf(1, 0.1), Metres{distance}, options);
              station.pass(Seconds{12});
              wrong += station.firstProximity != right;
            }
            return std::vector<Figure>{{"wrong at first, %", wrong / 5.0, limit}};
          }};
}

/// A receiver of 6 dB less, told and untold: seconds of ten minutes in a wrong band.
Row weakReceiver() {
  return {"3 m from a beacon, a receiver of -6 dB that was calibrated", [] {
            SimulatedPlatformOptions options;
            options.propagation.receiverGain = Dbm{-6};
            Station station(beaconOf(1, 0.1), Metres{3}, options);
            station.platform().location().engine().setReceiverGain(Dbm{-6});
            station.pass(kTenMinutes);
            const bool wrong = station.proximity != CLProximity::near || station.changes > 0;
            return std::vector<Figure>{{"wrong", wrong ? 1.0 : 0.0, 0}};
          }};
}

}  // namespace

std::vector<Row> borderRows() {
  return {onBorder(0.3, 1),
          onBorder(1, 1),
          onBorder(2, 1),
          onBorder(5, 2),
          arriving(8, CLProximity::far, 1),
          arriving(2, CLProximity::near, 9),
          weakReceiver()};
}

}  // namespace ks::gate
