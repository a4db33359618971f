#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

namespace ks {

using testing::ElementsAre;
using testing::IsEmpty;

class SimulatedLoopTest : public testing::Test {
 protected:
  explicit SimulatedLoopTest(
      std::shared_ptr<SimulatedLoop> loop = std::make_shared<SimulatedLoop>())
      : loop_(std::move(loop)) {}

  Task record(std::string what) {
    return [this, what = std::move(what)] { seen_.push_back(what); };
  }
  double now() const { return secondsBetween(kSimulatedStart, loop_->clock().now()); }

  std::shared_ptr<SimulatedLoop> loop_;
  SimulatedQueue main_{loop_, SimulatedQueue::Role::main};
  SimulatedQueue other_{loop_};
  std::vector<std::string> seen_;
};

TEST_F(SimulatedLoopTest, StepsQueuesInOneOrder) {
  main_.after(Seconds{0.3}, record("later"));
  other_.after(Seconds{0.1}, [this] { other_.after(Seconds{0.2}, record("tie, posted last")); });
  other_.async(record("first"));
  main_.async(record("second"));
  loop_->advance(Seconds{1});
  EXPECT_THAT(seen_, ElementsAre("first", "second", "later", "tie, posted last"));
  EXPECT_EQ(now(), 1);
}

TEST_F(SimulatedLoopTest, MovesTimeOnlyAsFarAsAsked) {
  main_.after(Seconds{10}, record("ten"));
  main_.after(Seconds{1e300}, record("never"));
  loop_->runUntilIdle();
  loop_->advance(Seconds{-5});
  loop_->runUntil(kSimulatedStart - Seconds{5});
  EXPECT_EQ(now(), 0);
  loop_->runUntil(kSimulatedStart + Seconds{9.5});
  EXPECT_THAT(seen_, IsEmpty());
  EXPECT_EQ(loop_->nextDue(), kSimulatedStart + Seconds{10});
  EXPECT_TRUE(loop_->runNext());
  EXPECT_EQ(now(), 10);
  EXPECT_THAT(seen_, ElementsAre("ten"));
}

TEST_F(SimulatedLoopTest, WaitingForTheRestEnds) {
  const Seconds deadline{0.1 + 0.2 + 1e-10};
  int wakes = 0;
  std::function<void()> wait = [&] {
    const Seconds rest = deadline - loop_->clock().uptime();
    if (++wakes < 10 && rest.count() > 0) main_.after(rest, wait);
  };
  wait();
  loop_->advance(Seconds{1});
  EXPECT_LT(wakes, 10);
}

TEST_F(SimulatedLoopTest, EndlessTasksAreToldOf) {
  std::function<void()> again = [&] { main_.async(again); };
  again();
  EXPECT_THROW(loop_->advance(Seconds{1}), std::runtime_error);
}

TEST_F(SimulatedLoopTest, LateTasksRunAfterAStall) {
  main_.async([this] {
    loop_->stall(Seconds{30});
    record("slow")();
  });
  main_.after(Seconds{10}, [this] { record("late at " + std::to_string(int(now())))(); });
  loop_->advance(Seconds{20});
  EXPECT_THAT(seen_, ElementsAre("slow", "late at 30"));
  EXPECT_EQ(now(), 30);
}

TEST_F(SimulatedLoopTest, QueueMayEndInsideItsTask) {
  auto queue = std::make_shared<SimulatedQueue>(loop_);
  const auto witness = std::make_shared<int>(0);
  queue->async([&] {
    queue.reset();
    record("ended")();
  });
  queue->async([this, witness] { record("never")(); });
  loop_->runUntilIdle();
  EXPECT_THAT(seen_, ElementsAre("ended"));
  EXPECT_EQ(witness.use_count(), 1);
}

TEST_F(SimulatedLoopTest, CancelsWhatATransferStillHolds) {
  const auto earlier = loop_->beginTransfer();
  const auto later = loop_->beginTransfer();
  auto queue = std::make_shared<SimulatedQueue>(loop_);
  TimerId timer = 0;
  std::thread([&] {
    SimulatedLoop::postAs(later);
    other_.async(record("kept"));
    timer = other_.after(Seconds{0}, record("cancelled"));
    queue->async(record("of a queue that is gone"));
  }).join();
  other_.cancel(timer);
  queue.reset();
  loop_->endTransfer(earlier);
  loop_->endTransfer(later);
  loop_->runUntilIdle();
  EXPECT_THAT(seen_, ElementsAre("kept"));
}

TEST(SimulatedLoopShuffleTest, BreaksTiesBetweenQueuesOnly) {
  const auto run = [](std::uint64_t seed) {
    const auto loop = std::make_shared<SimulatedLoop>(kSimulatedStart, seed);
    SimulatedQueue a(loop);
    SimulatedQueue b(loop);
    std::string seen;
    for (char letter = 'a'; letter < 'e'; ++letter) {
      a.async([&seen, letter] { seen += letter; });
      b.async([&seen, letter] { seen += static_cast<char>(letter - 'a' + 'A'); });
    }
    loop->runUntilIdle();
    return seen;
  };
  EXPECT_EQ(run(1), run(1));
  bool differs = false;
  for (std::uint64_t seed = 1; seed < 20; ++seed) {
    std::string seen = run(seed);
    differs = differs || seen != run(0);
    std::ranges::stable_partition(seen, [](char c) { return c >= 'a'; });
    EXPECT_EQ(seen, "abcdABCD");
  }
  EXPECT_TRUE(differs);
}

}  // namespace ks
