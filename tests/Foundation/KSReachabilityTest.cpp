#include <vector>

#include "BeaconSDK/Classes/Common/Reachability/KSReachability.h"
#include "tests/Support/PlatformFixture.h"

namespace {

class KSReachabilityTest : public ks::testing::PlatformFixture {};

TEST_F(KSReachabilityTest, JudgesFlagsByTheirBits) {
  const auto reachability = KSReachability::reachabilityForInternetConnection();
  constexpr auto kYes = ks::NetworkStatus::reachable;
  constexpr auto kNo = ks::NetworkStatus::notReachable;
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
  EXPECT_EQ(internet->currentReachabilityStatus(), ks::NetworkStatus::reachable);
  EXPECT_EQ(wifi->currentReachabilityStatus(), ks::NetworkStatus::notReachable);
  EXPECT_FALSE(host->connectionRequired());
  platform_->systemConfiguration().setFlags(2 + 4);
  EXPECT_EQ(host->currentReachabilityStatus(), ks::NetworkStatus::notReachable);
  EXPECT_TRUE(host->connectionRequired());
  platform_->systemConfiguration().setFlags(std::nullopt);
  EXPECT_EQ(host->currentReachabilityStatus(), ks::NetworkStatus::notReachable);
  platform_->systemConfiguration().setRefusesTargets(true);
  EXPECT_EQ(KSReachability::reachabilityWithHostName("no such name"), nullptr);
  EXPECT_EQ(KSReachability::reachabilityForLocalWiFi(), nullptr);
}

TEST_F(KSReachabilityTest, GivesUpOnSlowRead) {
  const auto reachability = KSReachability::reachabilityWithHostName("slow.example");
  platform_->systemConfiguration().setDelay(ks::Seconds{0.5});
  EXPECT_EQ(reachability->currentReachabilityStatus(), ks::NetworkStatus::reachable);
  platform_->systemConfiguration().setDelay(ks::Seconds{0.501});
  EXPECT_EQ(reachability->currentReachabilityStatus(), ks::NetworkStatus::notReachable);
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
