#include <gmock/gmock.h>
#include <signal.h>

#include <cstdlib>

#include "tests/Linux/BluetoothAir.h"
#include "tests/Linux/LinuxFixture.h"
#include "tests/Linux/PositionServices.h"
#include "tests/Linux/VirtualScreen.h"
#include "tools/ksbeacon/portal/PortalServer.h"

namespace ks::test {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

/// Of the sample window's marks of usable and missing services.
constexpr std::uint32_t kGreen = 0x2E7D32;
constexpr std::uint32_t kRed = 0xC62828;

/// The sample applications on a private bus, at home in a folder of their own.
class LinuxHostsTest : public testing::Test {
 protected:
  LinuxHostsTest() {
    for (const char* each : {"XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"}) unsetenv(each);
    setenv("HOME", folder_.path().c_str(), 1);
    // Neither a graphics card nor the desktop's accessibility service is here.
    setenv("GSK_RENDERER", "cairo", 1);
    setenv("GTK_A11Y", "none", 1);
    setenv("GDK_BACKEND", "x11", 1);
  }
  void start(const char* host, const std::string& portal = "http://127.0.0.1:9/app") {
    host_ = ChildProcess({host, portal}, output_);
  }
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

#ifdef KS_GTK_HOST
TEST_F(LinuxHostsTest, GtkHostShowsServicesAsTheyComeAndGo) {
  if (!VirtualScreen::reasonNotTo().empty()) GTEST_SKIP() << VirtualScreen::reasonNotTo();
  const VirtualScreen screen;
  ASSERT_TRUE(screen.isRunning());
  start(KS_GTK_HOST);
  ASSERT_TRUE(runLoopUntil([&] { return screen.count(kRed) > 0 && screen.count(kGreen) > 0; }))
      << readText(output_);
  const std::size_t missing = screen.count(kRed);
  screen.keep("gtk-missing");
  BluetoothAir air;
  air.startDaemon();
  air.addAdapter(true, true);
  EXPECT_TRUE(runLoopUntil([&] { return screen.count(kRed) < missing; }));
  screen.keep("gtk-bluetooth");
  end();
}

#endif

}  // namespace ks::test
