#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <boost/json.hpp>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
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
namespace {

using test::runCommand;
using test::runLoopUntil;
using Facts = std::multiset<std::string>;

const std::string kScenario = KS_SOURCE_DIR "/examples/scenarios/demo.json";

std::string member(const boost::json::object& object, const char* name) {
  const auto* const value = object.if_contains(name);
  return value != nullptr && value->is_string() ? std::string(value->as_string()) : "";
}

std::string statisticFact(const std::string& event, const boost::json::object& body) {
  return "statistic " + event + " " + member(body, "beaconId") + member(body, "geofenceId");
}

/// What counts of a timeline: what fired, was announced and refused, and what the portal was told.
/// Refusals may repeat with every ranging result, so each counts once.
Facts factsIn(const std::string& timeline) {
  Facts facts;
  std::set<std::string> refusals;
  std::istringstream lines(timeline);
  for (std::string line; std::getline(lines, line);) {
    boost::json::error_code ec;
    const auto parsed = boost::json::parse(line, ec);
    if (ec || !parsed.is_object()) continue;
    const auto& event = parsed.as_object();
    const std::string kind = member(event, "kind");
    const std::string about = kind + " " + member(event, "content") + " " + member(event, "zone");
    if (kind == "trigger") facts.insert(about + " " + member(event, "event"));
    if (kind == "notification") facts.insert(about + " " + member(event, "action"));
    if (kind == "refusal") refusals.insert(about + " " + member(event, "rule"));
    if (kind == "statistic" && event.contains("body")) {
      facts.insert(statisticFact(member(event, "event"), event.at("body").as_object()));
    }
  }
  facts.insert(refusals.begin(), refusals.end());
  return facts;
}

/// The scenario's walk among real services: the machine's GeoClue with a receiver that walks, and a
/// Bluetooth daemon that hears the bytes of the scenario's beacons.
class WalkTest : public testing::Test {
 protected:
  void startPortal() {
    portal::PortalOptions options;
    options.documents = scenario_.portal.documents;
    options.username = scenario_.portal.credentials.username;
    options.password = scenario_.portal.credentials.password;
    options.onStatistic = [this](const portal::PortalStatistic& statistic) {
      const std::scoped_lock guard(mutex_);
      told_.insert(statisticFact(statistic.zoneKind + "/" + statistic.event,
                                 boost::json::parse(statistic.body).as_object()));
    };
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
  void startDesktop() {
    desktop_ = test::ChildProcess({"/usr/bin/python3", "-m", "dbusmock", "--session", "--template",
                                   KS_TEST_FOLDER "/notifications.py"});
    ASSERT_TRUE(test::run(
        {"gdbus", "wait", "--session", "org.freedesktop.Notifications", "--timeout", "60"}));
  }
  std::string command() {
    const auto password = folder_.path() / "password";
    test::writeText(password, scenario_.portal.credentials.password + "\n");
    chmod(password.c_str(), 0600);
    return KS_COMMAND " run --json --tag language=it --portal " + portal_->url() + " --user " +
           scenario_.portal.credentials.username + " --password-file " + password.string() +
           " --state " + (folder_.path() / "state").string() + " --exec " + listener().string();
  }
  /// A program that keeps each event that it is given.
  std::filesystem::path listener() const {
    const auto file =
        test::writeText(folder_.path() / "listener", "#!/bin/sh\ncat >>" + heard().string() + "\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return file;
  }
  std::filesystem::path heard() const { return folder_.path() / "heard"; }

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
      runLoopUntil([&] { return monotonicUptime() - begin > moment - from + Seconds{1}; });
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
  /// The user clicks the notification that was shown last.
  static bool openNotification(unsigned number) {
    return test::run({"gdbus", "call", "--session", "-d", "org.freedesktop.Notifications", "-o",
                      "/org/freedesktop/Notifications", "-m",
                      "org.freedesktop.DBus.Mock.EmitSignal", "", "ActionInvoked", "us",
                      "[<uint32 " + std::to_string(number) + ">, <'default'>]"});
  }
  Facts told() {
    const std::scoped_lock guard(mutex_);
    return told_;
  }

  const Scenario scenario_ = std::get<Scenario>(readScenarioFile(kScenario));
  test::PrivateBus bus_;
  test::TemporaryFolder folder_;
  test::BluetoothAir air_;
  test::NmeaTrack receiver_{"unix"};
  test::RealGeoClue geoClue_{receiver_, "org.ksbeacon.ksbeacon"};
  test::ChildProcess desktop_;
  std::mutex mutex_;
  Facts told_;
  std::shared_ptr<portal::PortalServer> portal_;
};

TEST_F(WalkTest, EndsInTheSimulationsTriggers) {
  if (!test::RealGeoClue::reasonNotTo().empty()) GTEST_SKIP() << test::RealGeoClue::reasonNotTo();
  // The whole walk takes six minutes; its last steps to the entrance take some seconds.
  const bool whole = std::getenv("KS_WHOLE_WALK") != nullptr;
  startPortal();
  startRadio();
  startPositions();
  startDesktop();
  const Facts expected = factsIn(runCommand(KS_COMMAND " simulate --json " + kScenario).output);
  test::BackgroundCommand run(command());
  ASSERT_TRUE(run.writes("the library runs")) << run.errors();
  const std::string welcome = R"("kind":"trigger","content":"welcome","zone":"b-entrance")";
  const auto isDone = [&](Seconds moment) {
    if (whole && moment == Seconds{150}) {
      EXPECT_TRUE(openNotification(1));
    }
    return !whole && run.output().find(welcome) != std::string::npos;
  };
  EXPECT_EQ(walk(Seconds{whole ? 0.0 : 105.0}, Seconds{whole ? 360.0 : 160.0}, isDone), !whole);
  const std::string entered = "statistic beacons/enter b-entrance";
  EXPECT_TRUE(runLoopUntil([&] { return told().contains(entered); }));
  EXPECT_TRUE(run.writes(R"("action":"shown","zone":"b-entrance")"));
  const std::string message = R"("message":"The museum is open until six.")";
  EXPECT_TRUE(runLoopUntil(
      [&] { return test::readText(heard()).find(message) != std::string::npos; }, Seconds{30}));
  run.signal(SIGTERM);
  EXPECT_EQ(run.wait(Seconds{2}), 0);
  const Facts facts = factsIn(run.output());
  if (whole) {
    EXPECT_EQ(facts, expected);
  } else {
    EXPECT_THAT(expected, testing::IsSupersetOf(facts));
  }
  if (HasFailure()) std::printf("%s\n%s\n", run.output().c_str(), run.errors().c_str());
}

}  // namespace
}  // namespace ks::tool
