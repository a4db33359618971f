#include <gmock/gmock.h>
#include <signal.h>

#include <atomic>
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
    setenv("GDK_DEBUG", "gl-disable", 1);
    // Leaks of the host itself still fail it in a sanitized build.
    writeText(folder_.path() / "leaks", "leak:libfontconfig\n");
    setenv("LSAN_OPTIONS",
           ("print_suppressions=0:suppressions=" + (folder_.path() / "leaks").string()).c_str(), 1);
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

TEST_F(LinuxHostsTest, GtkHostShowsAContentAndReportsItsOpening) {
  for (const auto& reason : {VirtualScreen::reasonNotTo(), RealGeoClue::reasonNotTo()}) {
    if (!reason.empty()) GTEST_SKIP() << reason;
  }
  if (!run({"sh", "-c", "command -v dunst"})) GTEST_SKIP() << "no dunst here";
  const VirtualScreen screen;
  const auto dunstLog = folder_.path() / "dunst";
  const ChildProcess dunst({"dunst", "-conf", "/dev/null"}, dunstLog);
  ASSERT_TRUE(
      run({"gdbus", "wait", "--session", "org.freedesktop.Notifications", "--timeout", "20"}))
      << readText(dunstLog);
  NmeaTrack walk("unix");
  walk.follow({{45.07, 7.68599}});
  RealGeoClue geoClue(walk, "org.ksbeacon.examples.gtk");
  ASSERT_TRUE(geoClue.start() && geoClue.startAgent());
  BluetoothAir air;
  air.startDaemon();
  air.addAdapter(true, true);
  std::atomic<int> opened = 0;
  portal::PortalOptions options;
  options.documents = KS_SOURCE_DIR "/examples/portal";
  options.onStatistic = [&](const portal::PortalStatistic& statistic) {
    if (statistic.event == "content") ++opened;
  };
  const auto server = portal::PortalServer::start(options);
  ASSERT_TRUE(server) << server.error().localizedDescription();

  start(KS_GTK_HOST, (*server)->url());
  const auto uuid = *UUID::fromString("4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B");
  const Data entrance = beaconBytes({uuid, 1, 1, Dbm{-59}});
  const auto isShown = [&] {
    air.advertise("C0:00:00:00:00:01", -58, entrance);
    runLoopFor(Seconds{0.1});
    return run({"sh", "-c", "test $(dunstctl count displayed) = 1"});
  };
  // Longer than GeoClue may stay without a position before it is asked anew.
  const bool wasShown = runLoopUntil(isShown, Seconds{90});
  runLoopFor(Seconds{1});
  screen.keep(wasShown ? "gtk-content" : "gtk-no-content");
  ASSERT_TRUE(wasShown) << readText(output_) << readText(dunstLog);
  EXPECT_TRUE(run({"dunstctl", "action"}));
  EXPECT_TRUE(runLoopUntil([&] { return opened == 1; }));
  screen.keep("gtk-opened");
  end();
}
#endif

}  // namespace ks::test
