#include <glib.h>
#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Common/WorkerQueue.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

namespace {

/// Uses its queue as it goes, as an alarm held by a task does.
struct Clinging {
  DispatchQueue& queue;
  TimerId timer;
  ~Clinging() {
    queue.cancel(timer);
    queue.async([] { ADD_FAILURE() << "runs after the queue is gone"; });
  }
};

}  // namespace

TEST(LinuxQueuesTest, EndWithTasksThatUseThem) {
  const auto fill = [](DispatchQueue& queue) {
    for (int count = 0; count < 50; ++count) {
      const TimerId timer = queue.after(Seconds{60}, [] {});
      queue.after(Seconds{30}, [held = std::make_shared<Clinging>(queue, timer)] {});
    }
  };
  {
    MainQueue queue;
    fill(queue);
  }
  WorkerQueue queue("worker");
  fill(queue);
}

TEST(LinuxQueuesTest, TakeAnyDelay) {
  WorkerQueue worker("worker");
  MainQueue main;
  for (DispatchQueue* queue : std::vector<DispatchQueue*>{&worker, &main}) {
    std::atomic<int> runs = 0;
    for (const double delay : {1e300, std::numeric_limits<double>::infinity(), 1e10}) {
      queue->after(Seconds{delay}, [] { ADD_FAILURE() << "far too early"; });
    }
    queue->after(Seconds{std::nan("")}, [&] { ++runs; });
    queue->after(Seconds{-1e300}, [&] { ++runs; });
    EXPECT_TRUE(runLoopUntil([&] { return runs == 2; }));
  }
}

TEST(LinuxQueuesTest, WorkerMayEndOnItsOwnThread) {
  std::atomic<bool> ended = false;
  auto queue = std::make_shared<WorkerQueue>("worker");
  WorkerQueue& worker = *queue;
  worker.async([&ended, queue = std::move(queue)]() mutable {
    queue.reset();
    ended = true;
  });
  EXPECT_TRUE(runLoopUntil([&] { return ended.load(); }));
}

TEST(LinuxQueuesTest, MainQueueLeavesTheHostItsTurn) {
  MainQueue queue;
  bool hostRan = false;
  std::function<void()> again = [&] {
    if (!hostRan) queue.async(again);
  };
  queue.async(again);
  g_idle_add_full(
      G_PRIORITY_DEFAULT,
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &hostRan, nullptr);
  EXPECT_TRUE(runLoopUntil([&] { return hostRan; }));
  runLoopFor(Seconds{0.01});
}

TEST(LinuxQueuesTest, SleepUntilSomethingIsDue) {
  MainQueue queue;
  bool ran = false;
  queue.after(Seconds{0.2}, [&] { ran = true; });
  int turns = 0;
  while (!ran) {
    g_main_context_iteration(nullptr, TRUE);
    ++turns;
  }
  EXPECT_LE(turns, 3);
}

TEST(LinuxQueuesTest, WakeASleepingLoopFromAnyThread) {
  MainQueue queue;
  bool ran = false;
  queue.after(Seconds{60}, [] {});
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    queue.sync([&] { ran = true; });
  });
  const Seconds begin = monotonicUptime();
  while (!ran) g_main_context_iteration(nullptr, TRUE);
  EXPECT_LT((monotonicUptime() - begin).count(), 5);
  other.join();
}

}  // namespace ks::test
