#include <gmock/gmock.h>
#include <signal.h>

#include <cstdlib>

#include "tests/Linux/Bluetooth/BluetoothAir.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

/// The sample application on a private bus, at home in a folder of their own.
class LinuxHostsTest : public testing::Test {
 protected:
  LinuxHostsTest() {
    for (const char* each : {"XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"}) unsetenv(each);
    setenv("HOME", folder_.path().c_str(), 1);
  }
  void start(const char* host) { host_ = ChildProcess({host, "http://127.0.0.1:9/app"}, output_); }
  bool says(const std::string& text) {
    return runLoopUntil([&] { return readText(output_).find(text) != std::string::npos; },
                        Seconds{30});
  }
  /// It ends by itself, and well.
  void end() {
    host_.signal(SIGTERM);
    EXPECT_EQ(host_.wait(), 0) << readText(output_);
  }

  PrivateBus bus_;
  TemporaryFolder folder_;
  const std::filesystem::path output_ = folder_.path() / "output";
  ChildProcess host_;
};

}  // namespace

TEST_F(LinuxHostsTest, BareHostSaysHowServicesStand) {
  BluetoothAir air;
  air.startDaemon();
  air.addAdapter(true, true);
  start(KS_BARE_HOST);
  ASSERT_TRUE(says("Notifications: ")) << readText(output_);
  EXPECT_THAT(readText(output_),
              AllOf(HasSubstr("not started: "),
                    HasSubstr("Folders: caches lie in " + folder_.path().string()),
                    HasSubstr("Notifications: no notification service on the session bus "
                              "(try: apt install dunst)")));
  end();
  EXPECT_THAT(readText(output_), EndsWith("ended\n"));
}

#ifdef KS_HPP_HOST
TEST_F(LinuxHostsTest, HostOverTheCInterfaceSaysWhyItDoesNotStart) {
  start(KS_HPP_HOST);
  ASSERT_TRUE(says("connect to 127.0.0.1")) << readText(output_);
  EXPECT_EQ(host_.wait(), 1) << readText(output_);
}
#endif

}  // namespace ks::test
