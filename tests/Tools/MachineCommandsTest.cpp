#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/Linux/Bluetooth/BluetoothAir.h"
#include "tests/Tools/CommandRunner.h"

namespace ks::test {
namespace {

using testing::HasSubstr;
using testing::Not;

const UUID kUUID = *UUID::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");
const UUID kOtherUUID = *UUID::fromString("4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B");

class MachineCommandsTest : public testing::Test {
 protected:
  MachineCommandsTest() { setenv("XDG_CACHE_HOME", folder_.path().c_str(), 1); }
  ~MachineCommandsTest() override { unsetenv("XDG_CACHE_HOME"); }

  TemporaryFolder folder_;
  PrivateBus bus_;
  BluetoothAir air_;
};

TEST_F(MachineCommandsTest, DoctorNamesWhatIsMissingAndItsMend) {
  auto result = runCommand(KS_COMMAND " doctor --wait 1");
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.output, testing::StartsWith("ok      Folders       caches lie in " +
                                                 folder_.path().string()));
  for (const char* const service : {"Bluetooth", "Positions", "Notifications", "Secret store"}) {
    EXPECT_THAT(result.output, testing::ContainsRegex("missing " + std::string(service) +
                                                      " +[^\n]+\n +mend: [^\n]+\n"));
  }
  EXPECT_THAT(result.errors, HasSubstr("the library could not run"));

  air_.startDaemon();
  air_.addAdapter(false, true);
  result = runCommand(KS_COMMAND " doctor --wait 1 --json");
  EXPECT_EQ(result.code, 3) << "switched off";
  air_.setPowered(true);
  result = runCommand(KS_COMMAND " doctor --wait 1 --json");
  EXPECT_EQ(result.code, 0) << result.output;
  EXPECT_THAT(result.output, HasSubstr(R"({"service":"Bluetooth","usable":true,)"));
  EXPECT_EQ(result.errors, "");
}

TEST_F(MachineCommandsTest, ScanShowsStrangersOfAFamily) {
  air_.startDaemon();
  air_.addAdapter(true, true);
  BackgroundCommand scan(KS_COMMAND " scan --json --for 5 --uuid " + kUUID.UUIDString());
  const auto packet = [&](int rssi) {
    Data bytes = beaconBytes({kUUID, 7, 9, {-59}});
    const Data battery = batteryBytes("BK01", 87);
    air_.advertise("AA:BB:CC:DD:EE:01", rssi, bytes);
    air_.advertise("AA:BB:CC:DD:EE:01", rssi, battery);
    air_.advertise("AA:BB:CC:DD:EE:02", rssi, beaconBytes({kOtherUUID, 8, 9, {-59}}));
  };
  EXPECT_TRUE(runLoopUntil([&] {
    packet(-69);
    runLoopFor(Seconds{0.1});
    return scan.output().find("\"battery\":87") != std::string::npos;
  })) << scan.output();
  EXPECT_EQ(scan.wait(), 0);
  EXPECT_THAT(scan.output(),
              testing::ContainsRegex(R"("uuid":"E2C56DB5-DFFB-48D2-B060-D0F5A71096E0","major":7,)"
                                     R"("minor":9,"address":"AA:BB:CC:DD:EE:01",)"
                                     R"("measuredPower":-59,"rssi":-69,"rawRssi":-69,)"
                                     R"("distance":3.16,"proximity":"near","interval":0.[0-9]+,)"
                                     R"("battery":87,"silence":[0-9.]+})"));
  EXPECT_THAT(scan.output(), Not(HasSubstr("\"major\":8")));
  EXPECT_EQ(scan.errors(), "");
}

TEST_F(MachineCommandsTest, ScanSaysWhyNothingComes) {
  BackgroundCommand scan(KS_COMMAND " scan --for 2.5");
  EXPECT_TRUE(runLoopUntil([&] { return scan.errors().ends_with("; waiting\n"); }));
  EXPECT_EQ(scan.wait(), 3);
  EXPECT_EQ(scan.output(), "");
  EXPECT_THAT(scan.errors(), HasSubstr("\nksbeacon: Bluetooth: there is no Bluetooth daemon"));
  EXPECT_EQ(runCommand(KS_COMMAND " scan --for never").code, 2);
}

TEST(SimulateCommandTest, LeavesNothingBehindWhenInterrupted) {
  const TemporaryFolder folder;
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
    BackgroundCommand walk("env TMPDIR=" + folder.path().string() +
                           " " KS_COMMAND " simulate --speed 1 " KS_SOURCE_DIR
                           "/examples/scenarios/demo.json");
    EXPECT_TRUE(walk.writes("launched"));
    EXPECT_FALSE(std::filesystem::is_empty(folder.path()));
    walk.signal(number);
    EXPECT_EQ(walk.wait(), 128 + number);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  }
}

TEST_F(MachineCommandsTest, PortalTakesFaultsWhileItServes) {
  const std::string portal = KS_COMMAND " portal " KS_SOURCE_DIR "/examples/portal --port 0 <";
  writeText(
      folder_ / "lines",
      "fault status:401@/beacons\n\n fault slow:0.5\nfault drop@beacons\nfaults\nbreak\nclear");
  for (const std::string& input : {(folder_ / "lines").string(), std::string("&-")}) {
    BackgroundCommand command(portal + input);
    const char* const last = input == "&-" ? "stop with Ctrl-C" : "faults: none\n";
    EXPECT_TRUE(runLoopUntil([&] { return command.errors().find(last) != std::string::npos; }))
        << command.errors();
    if (input != "&-") {
      EXPECT_THAT(
          command.errors(),
          HasSubstr("\nfaults: status:401@/beacons\n"
                    "faults: status:401@/beacons, slow:0.5\n"
                    "ksbeacon: expected a path that begins with \"/\" in \"drop@beacons\", as in "
                    "drop@/beacons\n"
                    "faults: status:401@/beacons, slow:0.5\n"
                    "ksbeacon: expected \"fault FAULT\", \"faults\" or \"clear\", got "
                    "\"break\"\n"));
    }
    EXPECT_EQ(command.wait(Seconds{0.2}), -1) << "the end of input ends no portal";
    command.signal(SIGTERM);
    EXPECT_EQ(command.wait(), 0);
    EXPECT_THAT(command.errors(), testing::EndsWith("\nstopped\n"));
  }
}

}  // namespace
}  // namespace ks::test
