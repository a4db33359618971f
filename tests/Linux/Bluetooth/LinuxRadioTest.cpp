#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZRadio.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "tests/Linux/Bluetooth/BluetoothAir.h"

namespace ks::test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using State = CBManagerState;
using Calls = std::vector<std::string>;

namespace {

const UUID kUUID = *UUID::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");
const Calls kRangingBegins = {"UnregisterMonitor hci0 every", "RegisterMonitor hci0 quiet",
                              "SetDiscoveryFilter hci0", "StartDiscovery hci0"};

class NoStore : public LocationStateStore {
 public:
  FileContent load() override { return {}; }
  bool save(const Data&) override { return true; }
};

/// Writes down what the application would be told.
struct Application : CBCentralManagerDelegate, CLLocationManagerDelegate {
  void centralManagerDidUpdateState(CBCentralManager& central) override {
    states.push_back(central.state());
  }
  void didDiscoverPeripheral(CBCentralManager&, const CBPeripheral& peripheral,
                             const Dictionary& data, Dbm) override {
    peripherals.push_back(peripheral.identifier + " " + Value(data).description());
  }
  void didEnterRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>&) override {
    ++entered;
  }
  std::vector<State> states;
  std::vector<std::string> peripherals;
  int entered = 0;
};

class LinuxRadioTest : public testing::Test, protected LocationDemandListener {
 protected:
  LinuxRadioTest() { engine_.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways); }
  ~LinuxRadioTest() override { manager_->setDelegate(nullptr); }

  void locationDemandChanged(const LocationDemand& demand) override {
    if (radio_) radio_->locationDemandChanged(demand);
  }
  void startRadio() {
    radio_ = std::make_unique<BlueZRadio>(context_);
    central_ = radio_->makeCentralManager(application_);
    manager_->setDelegate(&application_);
  }
  void startDaemon(bool powered = true, bool monitors = true) {
    air_.startDaemon();
    air_.addAdapter(powered, monitors);
  }
  void startListening() {
    startDaemon();
    engine_.setAdvertisementListener(
        [this](const Advertisement& heard) { strengths_.push_back(heard.rssi.value); });
    startRadio();
    ASSERT_TRUE(becomes(State::poweredOn));
  }
  bool becomes(State state) {
    return runLoopUntil([&] { return central_->state() == state; });
  }
  /// Whether what is in the air arrives, sooner or later.
  bool isHeard() {
    const auto before = engine_.counters().advertisements;
    return runLoopUntil([&] {
      runLoopFor(Seconds{0.02});
      try {
        air_.advertise("C0:00:00:00:00:01", -60, beacon());
      } catch (const std::runtime_error&) {
        return false;
      }
      return engine_.counters().advertisements > before;
    });
  }
  /// What was called until all of `expected` was, or until time was up.
  Calls callsUntil(std::size_t expected) {
    Calls calls;
    runLoopUntil(
        [&] {
          runLoopFor(Seconds{0.01});
          for (auto& call : air_.takeCalls()) calls.push_back(std::move(call));
          return calls.size() >= expected;
        },
        Seconds{5});
    return calls;
  }
  static Data beacon(std::uint16_t minor = 7) { return beaconBytes({kUUID, 1, minor, {-59}}); }
  static std::shared_ptr<const CLBeaconRegion> region() {
    return std::make_shared<CLBeaconRegion>(kUUID, "hall");
  }

  PrivateBus bus_;
  SystemClock clock_;
  MainQueue queue_;
  RecordingConsole console_;
  NSNotificationCenter center_;
  NoStore store_;
  LocationEngine engine_{clock_, queue_, store_, *this};
  Directories directories_;
  std::string name_ = "test";
  LinuxServiceContext context_{clock_,  queue_,       console_, center_,
                               engine_, directories_, name_,    name_};
  BluetoothAir air_;
  Application application_;
  std::unique_ptr<CLLocationManager> manager_ = engine_.makeLocationManager();
  std::unique_ptr<BlueZRadio> radio_;
  std::unique_ptr<CBCentralManager> central_;
  std::vector<double> strengths_;
};

}  // namespace

TEST_F(LinuxRadioTest, ListensNoMoreThanWanted) {
  startDaemon();
  startRadio();
  ASSERT_TRUE(becomes(State::poweredOn));
  runLoopFor(Seconds{0.05});
  EXPECT_THAT(air_.takeCalls(), IsEmpty());
  manager_->startMonitoringForRegion(region());
  EXPECT_THAT(callsUntil(1), ElementsAre("RegisterMonitor hci0 every"));
  EXPECT_TRUE(isHeard());
  EXPECT_TRUE(runLoopUntil([&] { return application_.entered == 1; }));
  manager_->startRangingBeaconsInRegion(region());
  EXPECT_EQ(callsUntil(4), kRangingBegins);
  manager_->stopRangingBeaconsInRegion(*region());
  EXPECT_THAT(callsUntil(3), ElementsAre("UnregisterMonitor hci0 quiet",
                                         "RegisterMonitor hci0 every", "StopDiscovery hci0"));
  manager_->stopMonitoringForRegion(*region());
  EXPECT_THAT(callsUntil(1), ElementsAre("UnregisterMonitor hci0 every"));
  runLoopFor(Seconds{0.05});
  air_.advertise("C0:00:00:00:00:01", -90, beacon());
  air_.emit("/org/bluez/hci0/dev_C0_00_00_00_00_01", "org.freedesktop.DBus.Properties",
            "PropertiesChanged", "sa{sv}as",
            "[<'org.bluez.Device1'>, <{'RSSI': <int16 -40>}>, <@as []>]");
  EXPECT_FALSE(runLoopUntil([] { return g_main_context_pending(nullptr) != FALSE; }, Seconds{0.3}))
      << "what others have the daemon listen to wakes nobody here";
}

TEST_F(LinuxRadioTest, HearsEveryAdvertisementWithStrength) {
  startListening();
  ASSERT_EQ(callsUntil(3).back(), "StartDiscovery hci0");
  for (const int rssi : {-60, -61, -61, -90}) air_.advertise("C0:00:00:00:00:01", rssi, beacon());
  EXPECT_TRUE(runLoopUntil([&] { return strengths_.size() >= 4; }));
  EXPECT_THAT(strengths_, ElementsAre(-60, -61, -61, -90));
}

TEST_F(LinuxRadioTest, RestartsDiscoveryWithoutMonitors) {
  enum class Lack { manager, registration, activation };
  for (const auto lack : {Lack::manager, Lack::registration, Lack::activation}) {
    startDaemon(true, lack != Lack::manager);
    if (lack == Lack::registration) air_.refuse("RegisterMonitor", "org.bluez.Error.Failed");
    if (lack == Lack::activation) air_.refuse("Activate", "release");
    startRadio();
    ASSERT_TRUE(becomes(State::poweredOn));
    manager_->startMonitoringForRegion(region());
    EXPECT_TRUE(isHeard());
    EXPECT_TRUE(isHeard()) << "the controller has forgotten that it has reported the beacon";
    EXPECT_THAT(air_.takeCalls(), testing::Contains("StopDiscovery hci0"));
    EXPECT_TRUE(radio_->state().usable);
    EXPECT_THAT(radio_->state().mend, HasSubstr("Experimental"));
    manager_->stopMonitoringForRegion(*region());
    runLoopFor(Seconds{0.05});
    radio_.reset();
    air_.stopDaemon();
  }
}

TEST_F(LinuxRadioTest, ResumesAfterEachLoss) {
  startListening();
  const auto isHeardAgain = [&](State between, const char* after) {
    EXPECT_EQ(application_.states.back(), between) << after;
    EXPECT_TRUE(becomes(State::poweredOn)) << after;
    EXPECT_TRUE(isHeard()) << after;
    EXPECT_TRUE(radio_->state().usable) << after;
  };
  const auto waitFor = [&](State state) {
    return runLoopUntil([&] { return application_.states.back() == state; });
  };
  EXPECT_TRUE(isHeard());
  air_.setPowered(false);
  EXPECT_TRUE(waitFor(State::poweredOff));
  air_.setPowered(true);
  isHeardAgain(State::poweredOff, "power");
  air_.removeAdapter();
  EXPECT_TRUE(waitFor(State::unsupported));
  air_.addAdapter(true, true);
  isHeardAgain(State::unsupported, "adapter");
  air_.stopDaemon();
  EXPECT_TRUE(waitFor(State::resetting));
  startDaemon();
  isHeardAgain(State::resetting, "daemon");
  bus_.stop();
  air_.stopDaemon();
  EXPECT_TRUE(waitFor(State::resetting));
  bus_.start();
  startDaemon();
  isHeardAgain(State::resetting, "bus");
  EXPECT_EQ(console_.lines.size(), 8U) << "one line per loss and return";
}

TEST_F(LinuxRadioTest, TriesAgainAfterFailures) {
  struct {
    const char* method;
    const char* error;
  } const refusals[] = {
      {"RegisterMonitor", "org.freedesktop.DBus.Error.NoReply"},
      {"SetDiscoveryFilter", "org.freedesktop.DBus.Error.NoReply"},
      {"StartDiscovery", "org.freedesktop.DBus.Error.NoReply"},
      // A discovery that the daemon's predecessor has left behind.
      {"StartDiscovery", "org.bluez.Error.InProgress"},
  };
  for (const auto& refusal : refusals) {
    startDaemon();
    air_.refuse(refusal.method, refusal.error);
    startRadio();
    ASSERT_TRUE(becomes(State::poweredOn));
    manager_->startRangingBeaconsInRegion(region());
    EXPECT_TRUE(runLoopUntil([&] { return !radio_->state().usable; })) << refusal.error;
    air_.refuse(refusal.method, "");
    EXPECT_TRUE(isHeard()) << refusal.method << " " << refusal.error;
    EXPECT_TRUE(runLoopUntil([&] { return radio_->state().usable; })) << refusal.error;
    manager_->stopRangingBeaconsInRegion(*region());
    runLoopFor(Seconds{0.05});
    radio_.reset();
    air_.stopDaemon();
  }
}

TEST_F(LinuxRadioTest, NamesWhatIsMissing) {
  startRadio();
  EXPECT_EQ(central_->state(), State::unknown);
  EXPECT_TRUE(becomes(State::unsupported));
  EXPECT_THAT(radio_->state().mend, testing::AnyOf(HasSubstr("install"), HasSubstr("systemctl")));
  air_.startDaemon();
  EXPECT_TRUE(
      runLoopUntil([&] { return radio_->state().detail == "there is no Bluetooth adapter"; }));
  EXPECT_FALSE(engine_.isMonitoringAvailableForBeaconRegions());
  air_.addAdapter(false, true);
  EXPECT_TRUE(becomes(State::poweredOff));
  EXPECT_THAT(radio_->state().mend, HasSubstr("rfkill"));
  EXPECT_TRUE(engine_.isMonitoringAvailableForBeaconRegions()) << "it may be on any moment";
  air_.refuse("RegisterMonitor", "org.freedesktop.DBus.Error.AccessDenied");
  air_.setPowered(true);
  manager_->startMonitoringForRegion(region());
  EXPECT_TRUE(becomes(State::unauthorized));
  EXPECT_THAT(radio_->state().mend, HasSubstr("usermod"));
}

TEST_F(LinuxRadioTest, OutlivesUselessAnswers) {
  struct {
    const char* type;
    const char* line;
    State state;
    const char* mend;
  } const answers[] = {
      {"s",
       "raise dbus.exceptions.DBusException('', name='org.freedesktop.DBus.Error.AccessDenied')",
       State::unauthorized, "usermod"},
      {"s", "ret = 'nothing'", State::unknown, "restart"},
      {"a{oa{sa{sv}}}", "ret = {'/org/bluez/hci0': {'org.bluez.Adapter1': {'Powered': 'yes'}}}",
       State::poweredOff, "bluetoothctl"},
  };
  for (const auto& answer : answers) {
    startDaemon();
    air_.answerObjects(answer.type, answer.line);
    startRadio();
    EXPECT_TRUE(runLoopUntil([&] {
      return radio_->state().mend.find(answer.mend) != std::string::npos;
    })) << answer.line;
    EXPECT_EQ(central_->state(), answer.state) << answer.line;
    air_.stopDaemon();
    startDaemon();
    EXPECT_TRUE(becomes(State::poweredOn)) << answer.line;
    air_.stopDaemon();
  }
}

TEST_F(LinuxRadioTest, ScansForServiceData) {
  startDaemon();
  startRadio();
  ASSERT_TRUE(becomes(State::poweredOn));
  central_->scanForPeripheralsWithServices({CBUUID{"D00D"}});
  EXPECT_EQ(callsUntil(3).back(), "StartDiscovery hci0");
  air_.advertise("C0:00:00:00:00:06", -70, beacon());
  air_.advertise("C0:00:00:00:00:05", -70, batteryBytes("BK01", 87));
  EXPECT_TRUE(runLoopUntil([&] { return !application_.peripherals.empty(); }));
  EXPECT_THAT(application_.peripherals,
              ElementsAre(testing::AllOf(testing::StartsWith("C0:00:00:00:00:05"),
                                         HasSubstr("D00D"), HasSubstr("424b3031000057"))));
  central_->stopScan();
  EXPECT_THAT(callsUntil(2), ElementsAre("UnregisterMonitor hci0 quiet", "StopDiscovery hci0"));
}

TEST_F(LinuxRadioTest, SurvivesWrongSignals) {
  startListening();
  EXPECT_TRUE(isHeard());
  struct {
    const char* interface;
    const char* name;
    const char* signature;
    const char* arguments;
  } const signals[] = {
      {"org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}",
       "[<'org.bluez.Device1'>, <@a{sv} {}>]"},
      {"org.freedesktop.DBus.Properties", "PropertiesChanged", "s", "[<'org.bluez.Device1'>]"},
      {"org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as",
       "[<'org.bluez.Adapter1'>, <{'Powered': <'no'>}>, <@as []>]"},
      {"org.freedesktop.DBus.ObjectManager", "InterfacesAdded", "s", "[<'/org/bluez/hci7'>]"},
      {"org.freedesktop.DBus.ObjectManager", "InterfacesAdded", "oa{sa{sv}}",
       "[<objectpath '/'>, <{'org.bluez.Device1': {'RSSI': <'loud'>, 'ManufacturerData': <7>}}>]"},
      {"org.freedesktop.DBus.ObjectManager", "InterfacesRemoved", "oas",
       "[<objectpath '/org/bluez/hci9'>, <['org.bluez.Adapter1', 'org.bluez.Device1']>]"},
  };
  for (const auto& signal : signals) {
    const bool isManager = signal.name[0] == 'I';
    air_.emit(isManager ? "/" : "/org/bluez/hci0", signal.interface, signal.name, signal.signature,
              signal.arguments);
  }
  EXPECT_TRUE(isHeard());
  EXPECT_EQ(central_->state(), State::poweredOn);
}

TEST_F(LinuxRadioTest, DropsNothingOfFlood) {
  startListening();
  ASSERT_EQ(callsUntil(3).back(), "StartDiscovery hci0");
  air_.flood("C1:00:00:00", beacon(), 300, 2);
  air_.flood("C2:00:00:00", beacon(), 300, 2);
  EXPECT_TRUE(runLoopUntil([&] { return engine_.counters().advertisements == 4000; }, Seconds{60}));
}

}  // namespace ks::test
