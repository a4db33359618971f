#include <gmock/gmock.h>

#include <cmath>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "BeaconSDK/Platform/Linux/Positions/LinuxPositions.h"
#include "tests/Linux/PositionServices.h"

namespace ks::test {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::string kApplication = "org.ksbeacon.test";

/// A device whose location engine gets its positions from the services on a private bus, and an
/// application that asks for them.
class LinuxPositionsTest : public testing::Test,
                           public LocationDemandListener,
                           public CLLocationManagerDelegate {
 protected:
  LinuxPositionsTest() {
    engine_.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
    manager_ = engine_.makeLocationManager();
    manager_->setDelegate(this);
  }
  ~LinuxPositionsTest() override { manager_->setDelegate(nullptr); }

  void locationDemandChanged(const LocationDemand& demand) override {
    if (positions_) positions_->locationDemandChanged(demand);
  }
  void didUpdateLocations(CLLocationManager&, const std::vector<CLLocation>& locations) override {
    fixes_.insert(fixes_.end(), locations.begin(), locations.end());
  }
  void didFailWithError(CLLocationManager&, const Error&) override { ++failures_; }

  /// The sources at `gpsdPort`, asked by an application that wants updates.
  void begin(std::uint16_t gpsdPort = freePort()) {
    positions_ = std::make_unique<LinuxPositions>(context_, gpsdPort);
    manager_->startUpdatingLocation();
  }
  bool hearsOf(double latitude, Seconds limit = Seconds{10}) {
    return runLoopUntil(
        [&] {
          return !fixes_.empty() && std::abs(fixes_.back().coordinate.latitude - latitude) < 2e-6;
        },
        limit);
  }
  bool says(const std::string& detail, Seconds limit = Seconds{10}) {
    return runLoopUntil(
        [&] { return positions_->state().detail.find(detail) != std::string::npos; }, limit);
  }
  bool isAuthorized(CLAuthorizationStatus status, Seconds limit = Seconds{10}) {
    return runLoopUntil([&] { return engine_.authorizationStatus() == status; }, limit);
  }

  PrivateBus bus_;
  TemporaryFolder folder_;
  SystemClock clock_;
  MainQueue queue_;
  RecordingConsole console_;
  NSNotificationCenter center_;
  FileLocationStateStore store_{folder_.path() / "regions", console_};
  LocationEngine engine_{clock_, queue_, store_, *this};
  const Directories directories_;
  const LinuxServiceContext context_{clock_,  queue_,       console_,     center_,
                                     engine_, directories_, kApplication, kApplication};
  std::unique_ptr<LinuxPositions> positions_;
  std::unique_ptr<CLLocationManager> manager_;
  std::vector<CLLocation> fixes_;
  int failures_ = 0;
};

/// With the machine's GeoClue.
class RealGeoClueTest : public LinuxPositionsTest {
 protected:
  void SetUp() override {
    if (!RealGeoClue::reasonNotTo().empty()) GTEST_SKIP() << RealGeoClue::reasonNotTo();
  }
  NmeaTrack walk_{"unix", 5};
  RealGeoClue geoClue_{walk_, kApplication};
};

/// With a stand-in of GeoClue that says what no real one does.
class StandInGeoClueTest : public LinuxPositionsTest {
 protected:
  static constexpr const char* kName = "org.freedesktop.GeoClue2";
  static constexpr const char* kManager = "/org/freedesktop/GeoClue2/Manager";
  static constexpr const char* kClient = "org.freedesktop.GeoClue2.Client";

  static bool mock(const std::string& path, const std::string& method,
                   std::vector<std::string> arguments) {
    std::vector<std::string> command = {"gdbus", "call", "--system",
                                        "-d",    kName,  "-o",
                                        path,    "-m",   "org.freedesktop.DBus.Mock." + method};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command);
  }
  /// `start` is what the client's method does, in Python.
  void serve(const std::string& start) {
    service_ = ChildProcess({"/usr/bin/python3", "-m", "dbusmock", "--system", kName, kManager,
                             "org.freedesktop.GeoClue2.Manager"});
    ASSERT_TRUE(run({"gdbus", "wait", "--system", kName, "--timeout", "60"}));
    ASSERT_TRUE(
        mock(kManager, "AddObject",
             {"/client", kClient, "{'DesktopId': <''>, 'Active': <false>}", "@a(ssss) []"}));
    ASSERT_TRUE(mock("/client", "AddMethod", {kClient, "Start", "", "", start}));
    ASSERT_TRUE(mock(kManager, "AddMethod",
                     {"org.freedesktop.GeoClue2.Manager", "GetClient", "", "o",
                      "ret = dbus.ObjectPath('/client')"}));
  }
  static bool announce(const std::string& path, const std::string& properties) {
    return mock(kManager, "AddObject",
                {path, "org.freedesktop.GeoClue2.Location", properties, "@a(ssss) []"}) &&
           mock("/client", "EmitSignal",
                {kClient, "LocationUpdated", "oo",
                 "[<objectpath '/'>, <objectpath '" + path + "'>]"});
  }
  ChildProcess service_;
};

/// What answers at gpsd's port: sends `bytes`, a Python expression, and waits.
class Impostor {
 public:
  explicit Impostor(const std::string& bytes)
      : process_({"/usr/bin/python3", "-c",
                  "import socket, time\n"
                  "server = socket.create_server(('127.0.0.1', " +
                      std::to_string(port_) +
                      "))\n"
                      "while True:\n"
                      "  client = server.accept()[0]\n"
                      "  client.sendall(" +
                      bytes + ")\n  time.sleep(1)\n"}) {}
  std::uint16_t port() const { return port_; }

 private:
  std::uint16_t port_ = freePort();
  ChildProcess process_;
};

}  // namespace

TEST_F(RealGeoClueTest, FollowsATrack) {
  walk_.follow({{45.0700, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  begin();
  ASSERT_TRUE(hearsOf(45.0700));
  EXPECT_EQ(fixes_.back().horizontalAccuracy, Metres{5});
  EXPECT_LT(std::abs(secondsBetween(fixes_.back().timestamp, clock_.now())), 5);
  EXPECT_TRUE(positions_->state().usable);
  walk_.follow({{45.0700, 7.6868}, {45.0701, 7.6868}, {45.0710, 7.6868, 9}});
  EXPECT_TRUE(hearsOf(45.0710));
  EXPECT_EQ(fixes_.back().horizontalAccuracy, Metres{50});
  EXPECT_TRUE(geoClue_.isInUse());
  manager_->stopUpdatingLocation();
  EXPECT_TRUE(runLoopUntil([&] { return !geoClue_.isInUse(); }));
  EXPECT_EQ(positions_->state().detail, "nothing asks for positions");
}

TEST_F(RealGeoClueTest, ThinsOutWhatIsWantedRarely) {
  walk_.follow({{45.0700, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  begin();
  ASSERT_TRUE(hearsOf(45.0700));
  positions_->locationDemandChanged(
      {.positionAccuracy = Metres{10}, .positionInterval = Seconds{60}});
  runLoopFor(Seconds{0.5});
  walk_.follow({{45.0710, 7.6868}});
  EXPECT_FALSE(hearsOf(45.0710, Seconds{3}));
  positions_->locationDemandChanged(engine_.demand());
  walk_.follow({{45.0711, 7.6868}});
  EXPECT_TRUE(hearsOf(45.0711));
}

TEST_F(RealGeoClueTest, StartsTheServiceAndWaitsForItsAgent) {
  walk_.follow({{45.0700, 7.6868}});
  geoClue_.offer(bus_);
  begin();
  EXPECT_TRUE(says("GeoClue waits for an agent"));
  EXPECT_EQ(engine_.authorizationStatus(), CLAuthorizationStatus::authorizedAlways);
  EXPECT_EQ(failures_, 1) << "nothing is usable";
  ASSERT_TRUE(geoClue_.startAgent());
  EXPECT_TRUE(hearsOf(45.0700));
}

TEST_F(RealGeoClueTest, ObeysThePrivacySwitch) {
  walk_.follow({{45.0700, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent(0));
  begin();
  ASSERT_TRUE(isAuthorized(CLAuthorizationStatus::denied));
  EXPECT_FALSE(positions_->state().usable);
  EXPECT_THAT(positions_->state().detail, HasSubstr("refuses positions to org.ksbeacon.test"));
  EXPECT_THAT(fixes_, IsEmpty());
  ASSERT_TRUE(geoClue_.setLevel(8));
  EXPECT_TRUE(isAuthorized(CLAuthorizationStatus::authorizedAlways));
  EXPECT_TRUE(hearsOf(45.0700));

  ASSERT_TRUE(geoClue_.setLevel(0));
  ASSERT_TRUE(isAuthorized(CLAuthorizationStatus::denied));
  walk_.follow({{45.0710, 7.6868}});
  runLoopFor(Seconds{1});
  EXPECT_FALSE(hearsOf(45.0710, Seconds{0})) << "taken away while running";
  ASSERT_TRUE(geoClue_.setLevel(8));
  EXPECT_TRUE(isAuthorized(CLAuthorizationStatus::authorizedAlways));
  EXPECT_TRUE(hearsOf(45.0710));

  ASSERT_TRUE(geoClue_.setLevel(0));
  ASSERT_TRUE(isAuthorized(CLAuthorizationStatus::denied));
  manager_->stopUpdatingLocation();
  ASSERT_TRUE(geoClue_.setLevel(8));
  EXPECT_TRUE(isAuthorized(CLAuthorizationStatus::authorizedAlways));
  EXPECT_TRUE(runLoopUntil([&] { return !geoClue_.isInUse(); })) << "nobody wants any by now";
}

TEST_F(RealGeoClueTest, ResumesAfterRestarts) {
  walk_.follow({{45.0700, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  begin();
  ASSERT_TRUE(hearsOf(45.0700));
  geoClue_.stop();
  ASSERT_TRUE(says("GeoClue is not there"));
  EXPECT_EQ(positions_->state().mend, "apt install geoclue-2.0");
  walk_.follow({{45.0701, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  EXPECT_TRUE(hearsOf(45.0701));
  bus_.stop();
  ASSERT_TRUE(runLoopUntil([&] { return !positions_->state().usable; }));
  bus_.start();
  walk_.follow({{45.0702, 7.6868}});
  geoClue_.stop();
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  EXPECT_TRUE(hearsOf(45.0702));
}

TEST_F(RealGeoClueTest, TheMoreCertainSourceWins) {
  walk_.follow({{45.0700, 7.6868, 9}});
  NmeaTrack receiver("tcp", 5);
  receiver.follow({{45.0701, 7.6868}});
  RealGpsd gpsd(receiver);
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  begin(gpsd.port());
  ASSERT_TRUE(hearsOf(45.0701));
  runLoopFor(Seconds{1});
  EXPECT_TRUE(hearsOf(45.0701, Seconds{0})) << "17 m are better than 50 m";
  gpsd.stop();
  EXPECT_TRUE(hearsOf(45.0700, Seconds{12})) << "which stands still, so it is told again";
  gpsd.start();
  EXPECT_TRUE(hearsOf(45.0701));
  EXPECT_THAT(positions_->state().detail, "GeoClue gives positions; gpsd gives positions");
}

TEST_F(LinuxPositionsTest, FollowsRealGpsdAndItsRestart) {
  NmeaTrack receiver("tcp", 5);
  RealGpsd gpsd(receiver);
  begin(gpsd.port());
  ASSERT_TRUE(says("gpsd runs but has no fix"));
  EXPECT_TRUE(positions_->state().usable);
  receiver.follow({{45.0700, 7.6868}, {45.0701, 7.6868}});
  ASSERT_TRUE(hearsOf(45.0701));
  EXPECT_LT(std::abs(secondsBetween(fixes_.back().timestamp, clock_.now())), 1);
  gpsd.stop();
  ASSERT_TRUE(says("gpsd is not running"));
  EXPECT_FALSE(positions_->state().usable);
  receiver.follow({{45.0702, 7.6868}});
  gpsd.start();
  EXPECT_TRUE(hearsOf(45.0702));
  EXPECT_THAT(console_.lines, SizeIs(3)) << "usable, not, and again";
}

TEST_F(LinuxPositionsTest, LeavesNoConnectionBehind) {
  NmeaTrack receiver("tcp");
  receiver.follow({{45.0700, 7.6868}});
  RealGpsd gpsd(receiver);
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  begin(gpsd.port());
  std::ptrdiff_t idle = 0;
  for (int round = 0; round < 3; ++round) {
    manager_->startUpdatingLocation();
    ASSERT_TRUE(says("GeoClue is not there; gpsd gives positions"));
    EXPECT_GT(openFiles(), idle + 1) << "the bus and gpsd";
    manager_->stopUpdatingLocation();
    ASSERT_TRUE(says("nothing asks"));
    EXPECT_TRUE(round == 0 || runLoopUntil([&] { return openFiles() <= idle; }));
    runLoopFor(Seconds{0.3});
    // The bus library's thread stays.
    idle = openFiles();
  }
}

TEST_F(LinuxPositionsTest, SurvivesWhateverAnswersForGpsd) {
  Impostor stranger("b'HTTP/1.1 400 Bad Request\\r\\n'");
  begin(stranger.port());
  EXPECT_TRUE(says("somebody else answers"));
  positions_.reset();
  Impostor hostile(
      "b'{\"class\":\"VERSION\"}\\n' + b'x' * 20_000_000 + b'\\n\\0\\xff\\n{\"class\":\"TPV\"}\\n' "
      "+ "
      "b'{\"class\":\"TPV\",\"mode\":3,\"lat\":45.07,\"lon\":7.68}\\n' * 20_000 + "
      "b'{\"class\":\"TPV\",\"mode\":3,\"lat\":45.0701,\"lon\":7.68}\\n'");
  console_.lines.clear();
  positions_ = std::make_unique<LinuxPositions>(context_, hostile.port());
  positions_->locationDemandChanged(engine_.demand());
  EXPECT_TRUE(hearsOf(45.0701, Seconds{30}));
  EXPECT_EQ(engine_.counters().fixes, 20001U);
  EXPECT_LE(console_.lines.size(), 4U);
}

TEST_F(StandInGeoClueTest, ReadsOnlyWhatHasTheRightTypes) {
  serve("");
  begin();
  ASSERT_TRUE(says("GeoClue runs but"));
  for (const char* const properties :
       {"{'Latitude': <'45.07'>, 'Longitude': <7.68>, 'Accuracy': <5.0>}",
        "{'Latitude': <45.07>, 'Longitude': <uint32 7>, 'Accuracy': <5.0>}",
        "{'Latitude': <45.07>, 'Longitude': <7.68>, 'Accuracy': <true>}",
        "{'Latitude': <1e300>, 'Longitude': <7.68>, 'Accuracy': <5.0>}", "{'Other': <1>}"}) {
    static int number = 0;
    ASSERT_TRUE(announce("/wrong" + std::to_string(++number), properties));
  }
  EXPECT_TRUE(says("GeoClue sends positions that cannot be read"));
  ASSERT_TRUE(mock("/client", "EmitSignal", {kClient, "LocationUpdated", "s", "[<'/wrong1'>]"}));
  ASSERT_TRUE(mock("/client", "UpdateProperties", {kClient, "{'Active': <'no'>}"}));
  EXPECT_THAT(fixes_, IsEmpty());
  const double now = std::floor(secondsSince1970(clock_.now()));
  ASSERT_TRUE(announce("/right",
                       "{'Latitude': <45.07>, 'Longitude': <7.68>, 'Accuracy': <0.0>, "
                       "'Altitude': <-1.7976931348623157e308>, 'Speed': <-1.0>, "
                       "'Heading': <-1.0>, 'Timestamp': <(uint64 " +
                           std::to_string(static_cast<long>(now) - 100) + ", uint64 0)>}"));
  EXPECT_TRUE(hearsOf(45.07));
  EXPECT_NEAR(secondsSince1970(fixes_.back().timestamp), now - 100, 0.01);
  EXPECT_TRUE(positions_->state().usable);
  EXPECT_EQ(engine_.authorizationStatus(), CLAuthorizationStatus::authorizedAlways);
}

TEST_F(StandInGeoClueTest, OutlivesFailuresAndFloods) {
  serve(
      "self.calls = getattr(self, 'calls', 0) + 1\n"
      "if self.calls == 1: raise dbus.exceptions.DBusException('busy', name='org.test.Busy')");
  ASSERT_TRUE(announce("/place", "{'Latitude': <45.07>, 'Longitude': <7.68>, 'Accuracy': <9.0>}"));
  begin();
  ASSERT_TRUE(says("GeoClue does not start: "));
  EXPECT_FALSE(positions_->state().usable);
  ASSERT_TRUE(says("GeoClue runs but")) << "tried again";
  ASSERT_TRUE(mock("/client", "AddMethod",
                   {kClient, "Flood", "", "",
                    "for i in range(5000): self.EmitSignal('" + std::string(kClient) +
                        "', 'LocationUpdated', 'oo', [dbus.ObjectPath('/'), "
                        "dbus.ObjectPath('/place' if i > 4990 else '/nowhere')])"}));
  ASSERT_TRUE(run({"gdbus", "call", "--system", "-d", kName, "-o", "/client", "-m",
                   std::string(kClient) + ".Flood"}));
  EXPECT_TRUE(hearsOf(45.07));
  EXPECT_LE(engine_.counters().fixes, 10U);
}

}  // namespace ks::test
