#include <future>

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

TEST_F(PlatformHelpersTest, RunsBlocksOnMainQueue) {
  int count = 0;
  NSObjectSelector::runOnMainQueue([&] { ++count; });
  EXPECT_EQ(count, 1) << "at once on the main queue";
  NSObjectSelector::runOnMainQueue([&] { count = 10; }, Seconds{1.5});
  advance(1.4);
  EXPECT_EQ(count, 1);
  advance(0.1);
  EXPECT_EQ(count, 10);
  auto other = std::async(std::launch::async, [&] {
    NSObjectSelector::runOnMainQueue([&] { count += platform_->mainQueue().isCurrent(); });
    return count;
  });
  while (other.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
    platform_->runUntilIdle();
  }
  EXPECT_EQ(other.get(), 11) << "elsewhere the caller waits";
}

}  // namespace
}  // namespace ks
