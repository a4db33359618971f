#include <future>
#include <vector>

#include "BeaconSDK/Classes/Common/Reachability/KSReachability.h"
#include "tests/Support/PlatformFixture.h"

namespace {

class KSReachabilityTest : public ks::testing::PlatformFixture {
 protected:
  /// Asks on a thread of its own while the device runs on.
  KSNetworkStatus statusOf(const KSReachability& reachability) {
    auto status =
        std::async(std::launch::async, [&] { return reachability.currentReachabilityStatus(); });
    while (status.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      platform_->runUntilIdle();
    }
    return status.get();
  }
};

TEST_F(KSReachabilityTest, JudgesFlagsByTheirBits) {
  const auto reachability = KSReachability::reachabilityForInternetConnection();
  constexpr auto kYes = KSNetworkStatus::reachable;
  constexpr auto kNo = KSNetworkStatus::notReachable;
  for (const auto flags : {2U, 2U + 4 + 8, 2U + 4 + 32, 2U + 4 + 262144}) {
    EXPECT_EQ(reachability->networkStatusForFlags(flags), kYes) << flags;
  }
  for (const auto flags : {0U, 4U + 262144, 2U + 4, 2U + 4 + 8 + 16}) {
    EXPECT_EQ(reachability->networkStatusForFlags(flags), kNo) << flags;
  }
  EXPECT_EQ(reachability->localWiFiStatusForFlags(2), kNo);
  EXPECT_EQ(reachability->localWiFiStatusForFlags(131072), kNo);
  EXPECT_EQ(reachability->localWiFiStatusForFlags(2 + 131072), kYes);
}

TEST_F(KSReachabilityTest, ReadsFlagsOfItsTarget) {
  const auto internet = KSReachability::reachabilityForInternetConnection();
  const auto wifi = KSReachability::reachabilityForLocalWiFi();
  const auto host = KSReachability::reachabilityWithHostName("portal.example");
  EXPECT_EQ(platform_->systemConfiguration().targets(),
            (std::vector<std::string>{"0.0.0.0", "169.254.0.0", "portal.example"}));
  platform_->systemConfiguration().setFlags(2);
  EXPECT_EQ(statusOf(*internet), KSNetworkStatus::reachable);
  EXPECT_EQ(statusOf(*wifi), KSNetworkStatus::notReachable);
  EXPECT_FALSE(host->connectionRequired());
  platform_->systemConfiguration().setFlags(2 + 4);
  EXPECT_EQ(statusOf(*host), KSNetworkStatus::notReachable);
  EXPECT_TRUE(host->connectionRequired());
  platform_->systemConfiguration().setFlags(std::nullopt);
  EXPECT_EQ(statusOf(*host), KSNetworkStatus::notReachable);
  platform_->systemConfiguration().setRefusesTargets(true);
  EXPECT_EQ(KSReachability::reachabilityWithHostName("no such name"), nullptr);
  EXPECT_EQ(KSReachability::reachabilityForLocalWiFi(), nullptr);
}

TEST_F(KSReachabilityTest, GivesUpOnSlowRead) {
  const auto reachability = KSReachability::reachabilityWithHostName("slow.example");
  // Nobody runs the global queue meanwhile: the read comes late and must do no harm.
  EXPECT_EQ(reachability->currentReachabilityStatus(), KSNetworkStatus::notReachable);
  EXPECT_EQ(platform_->globalQueue().pendingTasks(), 1U);
  platform_->runUntilIdle();
  EXPECT_EQ(platform_->globalQueue().pendingTasks(), 0U);
}

TEST_F(KSReachabilityTest, AnnouncesChangesUntilStopped) {
  auto reachability = KSReachability::reachabilityForInternetConnection();
  int count = 0;
  const auto observation = platform_->notificationCenter().addObserver(
      KSkNetworkReachabilityChangedNotification, [&](const auto&) { ++count; }, reachability);
  auto countAfterChange = [&, flags = 2U]() mutable {
    platform_->systemConfiguration().setFlags(flags ^= 2U);
    platform_->runUntilIdle();
    return count;
  };
  EXPECT_EQ(countAfterChange(), 0);
  EXPECT_TRUE(reachability->startNotifer());
  EXPECT_EQ(countAfterChange(), 1);
  reachability->stopNotifer();
  EXPECT_EQ(countAfterChange(), 1);
  EXPECT_TRUE(reachability->startNotifer());
  reachability.reset();
  EXPECT_EQ(countAfterChange(), 1);
}

}  // namespace
