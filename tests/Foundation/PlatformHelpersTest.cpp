#include <future>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSObject+Selector.h"
#include "BeaconSDK/Classes/Common/Foundation/UIDevice+UUID.h"
#include "tests/Support/PlatformFixture.h"

namespace ks {
namespace {

using PlatformHelpersTest = testing::PlatformFixture;

TEST_F(PlatformHelpersTest, MakesAndExtendsErrors) {
  const Error own = NSErrorHelpers::errorWithDescription("A");
  EXPECT_EQ(own.domain(), "com.example.application");
  const Error foreign("Other", 42, Dictionary{{NSLocalizedDescriptionKey, "A"}, {"more", 1}});
  const Error longer = NSErrorHelpers::errorByAppendingDescription(foreign, "B");
  EXPECT_TRUE(longer.isEqual(std::make_unique<Error>("Other", -1, "A\nB").get()));
}

TEST_F(PlatformHelpersTest, IdentifiesDeviceByTracking) {
  EXPECT_EQ(UIDeviceUUID::advertisingType(), "IDFA");
  EXPECT_EQ(UIDeviceUUID::currentDeviceUUID(), "5A1D0E5C-0000-4000-8000-000000000002");
  platform_->change([](SimulatedSettings& it) { it.advertisingTrackingEnabled = false; });
  EXPECT_EQ(UIDeviceUUID::advertisingType(), "IDFV");
  EXPECT_EQ(UIDeviceUUID::currentDeviceUUID(), "5A1D0E5C-0000-4000-8000-000000000001");
}

TEST_F(PlatformHelpersTest, RunsBlocksOnMainQueue) {
  std::vector<std::string> events;
  NSObjectSelector::runOnMainQueue([&] { events.emplace_back("at once"); });
  NSObjectSelector::runOnMainQueue([&] { events.emplace_back("later"); }, Seconds{1.5});
  EXPECT_EQ(events, std::vector<std::string>{"at once"});
  advance(1.4);
  EXPECT_EQ(events.size(), 1U);
  advance(0.1);
  EXPECT_EQ(events.back(), "later");
}

TEST_F(PlatformHelpersTest, WaitsForMainQueueElsewhere) {
  bool wasMain = false;
  auto other = std::async(std::launch::async, [&] {
    NSObjectSelector::runOnMainQueue([&] { wasMain = platform_->mainQueue().isCurrent(); });
    return wasMain;
  });
  while (other.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
    platform_->runUntilIdle();
  }
  EXPECT_TRUE(other.get());
}

TEST_F(PlatformHelpersTest, InvocationIsReusable) {
  struct Counter {
    int sum = 0;
    int add(int number) { return sum += number; }
  };
  auto invocation = NSObjectSelector::createInvocation(&Counter::add);
  Counter first;
  Counter second;
  EXPECT_EQ(NSObjectSelector::performInvocation(first, invocation), 0);
  invocation.setArguments(3);
  EXPECT_EQ(NSObjectSelector::performInvocation(first, invocation), 3);
  EXPECT_EQ(NSObjectSelector::performInvocation(first, invocation), 6);
  EXPECT_EQ(NSObjectSelector::performInvocation(second, invocation), 3);
}

}  // namespace
}  // namespace ks
