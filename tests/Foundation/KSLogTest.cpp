#include <thread>
#include <vector>

#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "tests/Support/PlatformFixture.h"

namespace {

constexpr ks::LogSource kLog{"tests/Foundation/KSLogTest"};

class KSLogTest : public ks::testing::PlatformFixture {
 protected:
  KSLogTest() { enableLogging = true; }
  ~KSLogTest() override { enableLogging = false; }

  std::vector<std::string> posted_;
  ks::NSNotificationCenter::Observation observation_ = platform_->notificationCenter().addObserver(
      DebugLogNotification, [this](const ks::NSNotification& notification) {
        EXPECT_EQ(notification.object, nullptr);
        EXPECT_TRUE(platform_->mainQueue().isCurrent());
        posted_.push_back(notification.userInfo["message"].stringValue().value_or("none"));
      });
};

TEST_F(KSLogTest, WritesAndPostsStampedLine) {
  DoKSLog("BeaconSDK/Classes/Stats/KSStatsManager", 59, "-[KSStatsManager x]",
          "Send exit-event for %@", "Hall");
  const std::vector<std::string> expected{"[01/01/26 09:00:00] :(59): Send exit-event for Hall"};
  EXPECT_EQ(platform_->console().lines(), expected);
  EXPECT_TRUE(posted_.empty()) << "posted before the call returned";
  platform_->runUntilIdle();
  EXPECT_EQ(posted_, expected);
}

TEST_F(KSLogTest, NamesLineOfTheCall) {
  kLog("-[Test call]", "first %@", formatProximity(4));
  const std::string line = std::to_string(__LINE__ - 1);
  EXPECT_TRUE(platform_->console().lines().at(0).ends_with(" :(" + line + "): first (null)"));
}

TEST_F(KSLogTest, StaysSilentWhileOff) {
  struct Described : ks::Object {
    std::string description() const override {
      ADD_FAILURE() << "the format was evaluated";
      return "";
    }
  };
  enableLogging = false;
  kLog("-[Test call]", "%@", Described());
  platform_->runUntilIdle();
  EXPECT_TRUE(platform_->console().lines().empty());
  EXPECT_TRUE(posted_.empty());
  ks::NSLog("direct %d", 1);
  EXPECT_EQ(platform_->console().lines(), std::vector<std::string>{"direct 1"});
}

TEST_F(KSLogTest, StampUsesWeekYearOfTheDevice) {
  platform_->advance(ks::Seconds{364 * 86400.0});  // 31 December 2026, a Thursday
  kLog("-[Test call]", "x");
  platform_->change([](ks::SimulatedSettings& it) { it.locale = {"en", "US"}; });
  kLog("-[Test call]", "x");
  EXPECT_TRUE(platform_->console().lines().at(0).starts_with("[31/12/26 "));
  EXPECT_TRUE(platform_->console().lines().at(1).starts_with("[31/12/27 "));
}

}  // namespace
