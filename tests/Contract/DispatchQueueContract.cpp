#include <gmock/gmock.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/Contract/PlatformContract.h"

namespace ks::test {

using testing::ElementsAre;

TEST_P(DispatchQueueContract, RunsTasksInPostingOrder) {
  for (DispatchQueue* queue : queues()) {
    std::vector<int> order;
    // From the queue itself, which cannot begin the first task meanwhile.
    queue->sync([&] {
      queue->async([&] {
        order.push_back(1);
        queue->async([&] { order.push_back(3); });
        EXPECT_THAT(order, ElementsAre(1)) << "never inside the call";
      });
      queue->async([&] { order.push_back(2); });
    });
    runFor(Seconds{0.02});
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
  }
}

TEST_P(DispatchQueueContract, RunsTimersInOrderOfDelay) {
  for (DispatchQueue* queue : queues()) {
    std::vector<int> order;
    const Seconds start = platform().clock().uptime();
    queue->after(Seconds{0.03}, [&] {
      order.push_back(30);
      EXPECT_GE((platform().clock().uptime() - start).count(), 0.03 - 1e-6);
    });
    queue->after(Seconds{0.01}, [&] { order.push_back(10); });
    queue->after(Seconds{-1}, [&] { order.push_back(-1); });
    queue->after(Seconds{0}, [&] { order.push_back(0); });
    runFor(Seconds{0.06});
    EXPECT_THAT(order, ElementsAre(-1, 0, 10, 30));
  }
}

TEST_P(DispatchQueueContract, NeverRunsCancelledTimers) {
  for (DispatchQueue* queue : queues()) {
    std::vector<int> order;
    const auto witness = std::make_shared<int>(0);
    TimerId cancelled = 0;
    TimerId later = 0;
    TimerId self = 0;
    queue->sync([&] {
      cancelled = queue->after(Seconds{0}, [&, witness] { order.push_back(0); });
      later = queue->after(Seconds{0.02}, [&] { order.push_back(2); });
      self = queue->after(Seconds{0.01}, [&] {
        queue->cancel(self);
        queue->cancel(later);
        order.push_back(1);
      });
      queue->cancel(cancelled);
      queue->cancel(cancelled);
      queue->cancel(0);
      EXPECT_EQ(witness.use_count(), 1) << "what a task holds goes with it";
    });
    runFor(Seconds{0.05});
    EXPECT_THAT(order, ElementsAre(1));
    EXPECT_NE(cancelled, 0U);
    EXPECT_NE(later, cancelled);
  }
}

TEST_P(DispatchQueueContract, SyncReturnsWhenTaskIsDone) {
  std::vector<int> order;
  DispatchQueue& global = platform().globalQueue();
  platform().mainQueue().async([&] {
    global.async([&] { order.push_back(1); });
    global.sync([&] {
      EXPECT_TRUE(global.isCurrent());
      global.sync([&] { order.push_back(2); });
    });
    order.push_back(3);
  });
  runFor(Seconds{0.02});
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST_P(DispatchQueueContract, SyncForGivesUpButRunsTask) {
  const auto runs = std::make_shared<int>(0);
  platform().mainQueue().async([&] {
    EXPECT_TRUE(platform().globalQueue().syncFor([runs] { ++*runs; }, Seconds{60}));
    EXPECT_TRUE(platform().mainQueue().syncFor([runs] { ++*runs; }, Seconds{60}));
    EXPECT_EQ(*runs, 2);
  });
  runFor(Seconds{0.02});
  // Nobody runs the main queue while this thread waits for the other one.
  std::thread([&] {
    EXPECT_FALSE(platform().mainQueue().syncFor([runs] { ++*runs; }, Seconds{0.001}));
  }).join();
  EXPECT_EQ(*runs, 2);
  runFor(Seconds{0.02});
  EXPECT_EQ(*runs, 3) << "late, when its caller has gone on";
}

TEST_P(DispatchQueueContract, KnowsWhetherItIsCurrent) {
  const auto current = [this] {
    return std::pair{platform().mainQueue().isCurrent(), platform().globalQueue().isCurrent()};
  };
  std::vector<std::pair<bool, bool>> seen;
  platform().mainQueue().async([&] { seen.push_back(current()); });
  runFor(Seconds{0.02});
  platform().globalQueue().async([&] { seen.push_back(current()); });
  runFor(Seconds{0.02});
  std::thread([&] { seen.push_back(current()); }).join();
  EXPECT_THAT(seen,
              ElementsAre(std::pair{true, false}, std::pair{false, true}, std::pair{false, false}));
}

TEST_P(DispatchQueueContract, TakesTasksFromAnyThread) {
  constexpr int kThreads = 4;
  constexpr int kPosts = 200;
  for (DispatchQueue* queue : queues()) {
    std::vector<std::vector<int>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        for (int post = 0; post < kPosts; ++post) {
          queue->async([&seen, thread, post] { seen[thread].push_back(post); });
          queue->cancel(queue->after(Seconds{60}, [] { FAIL() << "was cancelled"; }));
        }
      });
    }
    runFor(Seconds{0.01});
    for (std::thread& thread : threads) thread.join();
    runFor(Seconds{0.05});
    for (const auto& posts : seen) {
      EXPECT_EQ(posts.size(), kPosts);
      EXPECT_TRUE(std::ranges::is_sorted(posts));
    }
  }
}

}  // namespace ks::test
