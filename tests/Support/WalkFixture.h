#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"
#include "tests/Linux/Bluetooth/BluetoothAir.h"
#include "tests/Linux/PositionServices.h"
#include "tests/Tools/CommandRunner.h"
#include "tools/ksbeacon/portal/PortalServer.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"

namespace ks::tool {

/// The demo's walk among real services: the machine's GeoClue with a receiver that walks, and a
/// Bluetooth daemon that hears the bytes of the scenario's beacons.
class WalkFixture : public testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = test::RealGeoClue::reasonNotTo();
    if (!reason.empty()) GTEST_SKIP() << reason;
  }
  portal::PortalOptions portalOptions() const {
    portal::PortalOptions options;
    options.documents = scenario_.portal.documents;
    options.username = scenario_.portal.credentials.username;
    options.password = scenario_.portal.credentials.password;
    return options;
  }
  void startPortal(const portal::PortalOptions& options) {
    auto started = portal::PortalServer::start(options);
    ASSERT_TRUE(started) << started.error().localizedDescription();
    portal_ = *started;
  }
  void startRadio() {
    air_.startDaemon();
    air_.addAdapter(true, true);
  }
  void startPositions() {
    ASSERT_TRUE(geoClue_.start());
    ASSERT_TRUE(geoClue_.startAgent());
  }
  /// `script` gets each event that carries a content.
  std::string command(const std::string& script) const {
    const auto password = folder_.path() / "password";
    test::writeText(password, scenario_.portal.credentials.password + "\n");
    chmod(password.c_str(), 0600);
    return KS_COMMAND " run --json --tag language=it --portal " + portal_->url() + " --user " +
           scenario_.portal.credentials.username + " --password-file " + password.string() +
           " --state " + (folder_.path() / "state").string() + " --exec " +
           program("listener", script);
  }
  std::string program(const std::string& name, const std::string& script) const {
    const auto file = test::writeText(folder_.path() / name, script);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return file;
  }

  /// Walks from a moment of the scenario to another, or until the condition holds.
  bool walk(Seconds from, Seconds to, const std::function<bool(Seconds)>& done) {
    const SimulatedWalk walk(scenario_.start, scenario_.walk.stops);
    std::vector<test::TrackPoint> track;
    for (Seconds moment = from; moment <= to; moment += Seconds{1}) {
      const auto place = walk.positionAt(scenario_.start + moment).coordinate;
      track.push_back({place.latitude, place.longitude});
    }
    receiver_.follow(track);
    const Seconds begin = monotonicUptime();
    for (Seconds moment = from; moment <= to; moment += Seconds{1}) {
      radiate(walk.positionAt(scenario_.start + moment).coordinate);
      test::runLoopUntil([&] { return monotonicUptime() - begin > moment - from + Seconds{1}; });
      if (done(moment)) return true;
    }
    return false;
  }
  void radiate(CLLocationCoordinate2D place) {
    int number = 0;
    for (const Scenario::Beacon& beacon : scenario_.beacons) {
      const std::string address = "AA:BB:CC:DD:EE:0" + std::to_string(++number);
      const Dbm strength =
          expectedRssi(beacon.radio.measuredPower, distanceBetween(place, beacon.radio.coordinate));
      // What is weaker is not received, as in the simulation.
      if (strength < Dbm{-100}) continue;
      const int rssi = static_cast<int>(std::lround(strength.value));
      air_.advertise(address, rssi, frameAdvertisement(beacon.radio));
      const Data battery = batteryAdvertisement(beacon.radio);
      if (!battery.empty()) air_.advertise(address, rssi, battery);
    }
  }

  const Scenario scenario_ =
      std::get<Scenario>(readScenarioFile(KS_SOURCE_DIR "/examples/scenarios/demo.json"));
  test::PrivateBus bus_;
  test::TemporaryFolder folder_;
  test::BluetoothAir air_;
  test::NmeaTrack receiver_{"unix"};
  test::RealGeoClue geoClue_{receiver_, "org.ksbeacon.ksbeacon"};
  std::shared_ptr<portal::PortalServer> portal_;
};

}  // namespace ks::tool
