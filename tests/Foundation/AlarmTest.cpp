#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "tests/Support/PlatformFixture.h"

namespace ks {
namespace {

using AlarmTest = testing::PlatformFixture;

TEST_F(AlarmTest, FiresOnceAndLatestScheduleCounts) {
  std::vector<int> fired;
  Alarm alarm(platform_->mainQueue());
  alarm.schedule(Seconds{10}, [&] { fired.push_back(1); });
  alarm.schedule(Seconds{20}, [&] { fired.push_back(2); });
  advance(19);
  EXPECT_TRUE(alarm.isScheduled());
  advance(100);
  EXPECT_FALSE(alarm.isScheduled());
  EXPECT_EQ(fired, std::vector{2});
}

TEST_F(AlarmTest, NothingRunsAfterInvalidateOrDestruction) {
  auto alarm = std::make_unique<Alarm>(platform_->mainQueue());
  const auto fail = [] { ADD_FAILURE() << "ran"; };
  alarm->schedule(Seconds{1}, fail);
  alarm->invalidate();
  EXPECT_FALSE(alarm->isScheduled());
  alarm->schedule(Seconds{1}, fail);
  alarm.reset();
  advance(5);
  EXPECT_EQ(platform_->mainQueue().pendingTasks(), 0U);
}

TEST_F(AlarmTest, TaskMayDestroyItsAlarm) {
  auto alarm = std::make_unique<Alarm>(platform_->mainQueue());
  const std::string text = "captured state that lives as long as the task";
  std::string seen;
  alarm->schedule(Seconds{1}, [&alarm, &seen, text] {
    alarm.reset();
    seen = text;
  });
  advance(1);
  EXPECT_EQ(seen, text);
}

}  // namespace
}  // namespace ks
