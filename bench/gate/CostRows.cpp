#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "bench/gate/AllocationCount.h"
#include "bench/gate/Gate.h"
#include "bench/gate/Station.h"

namespace ks::gate {

namespace {

constexpr int kBeacons = 200;
constexpr int kSeconds = 3600;
constexpr int kWarmUp = 60;
constexpr double kSecondsOfDay = 86400;

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

struct Packet {
  std::string address;
  Data bytes;
};

std::vector<Packet> packetsOf(const SimulatedBeacon& first) {
  std::vector<Packet> packets;
  auto beacon = first;
  for (beacon.minor = 1; beacon.minor <= kBeacons; ++beacon.minor) {
    char address[] = "C0:00:00:00:00:00";
    std::snprintf(address + 12, 6, "%02X:%02X", beacon.minor >> 8, beacon.minor & 0xFF);
    packets.push_back({address, frameAdvertisement(beacon)});
  }
  return packets;
}

/// What a hall of beacons costs that each send once a second: bytes in, callbacks of the whole
/// library out.
struct Hall {
  Hall() : packets(packetsOf(station.beacon())) {
    station.platform().location().engine().setAdvertisementListener(nullptr);
    for (std::uint16_t minor = 2; minor <= kBeacons; ++minor) station.learnContent(minor);
    for (int second = 0; second < kWarmUp; ++second) {
      hear();
      station.pass(Seconds{1});
    }
  }
  void hear() {
    auto& engine = station.platform().location().engine();
    for (const auto& [address, bytes] : packets) {
      engine.handleAdvertisement(parseAdvertisement(address, bytes, Dbm{-70.0 + next++ % 7}));
    }
  }

  /// Its own beacon is never heard.
  Station station{beaconOf(60, 1), Metres{2}};
  std::vector<Packet> packets;
  int next = 0;
};

std::vector<Figure> measureHall() {
  Hall hall;
  std::uint64_t hearing = 0;
  const auto before = allocationCount();
  const double began = processorSeconds();
  for (int second = 0; second < kSeconds; ++second) {
    const auto start = allocationCount();
    hall.hear();
    hearing += allocationCount() - start;
    hall.station.pass(Seconds{1});
  }
  const double spent = processorSeconds() - began;
  const auto ranging = static_cast<double>(allocationCount() - before - hearing);
  return {{"allocations a packet", static_cast<double>(hearing) / kSeconds / kBeacons, 3},
          {"allocations a second of ranging", ranging / kSeconds, 25},
          {"processor seconds a day", spent / kSeconds * kSecondsOfDay, 120}};
}

}  // namespace

std::vector<Row> costRows() { return {{"200 beacons, each once a second", measureHall}}; }

}  // namespace ks::gate
