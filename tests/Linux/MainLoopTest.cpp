#include <gtest/gtest.h>
#include <signal.h>

#include <thread>

#include "BeaconSDK/Platform/Linux/Loop/MainLoop.h"

namespace ks::test {

TEST(MainLoopTest, HandlesSignalsAndEnds) {
  MainLoop loop;
  int hangUps = 0;
  loop.onSignal(SIGHUP, [&] {
    ++hangUps;
    loop.quit();
  });
  raise(SIGHUP);
  loop.run();
  EXPECT_EQ(hangUps, 1);
  // It has been told to end.
  loop.run();
  loop.runFor(Seconds{100});
}

TEST(MainLoopDeathTest, StopsInTimeWhateverKeepsItsThread) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto stop = [](bool hangs) {
    MainLoop loop;
    loop.onStop(Seconds{0.2}, [&] { loop.quit(); });
    raise(SIGTERM);
    if (hangs) std::this_thread::sleep_for(std::chrono::seconds(20));
    loop.run();
    std::exit(7);
  };
  EXPECT_EXIT(stop(false), testing::ExitedWithCode(7), "");
  EXPECT_EXIT(stop(true), testing::ExitedWithCode(1), "");
}

}  // namespace ks::test
