#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "tests/Support/FaultyPlatform.h"

namespace ks::testing {

/// What all threads have yet to do. Any thread.
using Pending = std::atomic<int>;

/// A serial queue with a thread of its own that dawdles before each task, by a seeded measure. May
/// be destroyed on its own thread. Delays are not supported.
class UnsteadyQueue : public DispatchQueue {
 public:
  UnsteadyQueue(std::uint64_t seed, std::shared_ptr<Pending> pending)
      : pending_(std::move(pending)),
        thread_([state = state_, pending = pending_, seed] { run(*state, *pending, seed); }) {}
  UnsteadyQueue(const UnsteadyQueue&) = delete;
  UnsteadyQueue& operator=(const UnsteadyQueue&) = delete;
  ~UnsteadyQueue() override {
    {
      const std::lock_guard lock(state_->mutex);
      state_->ended = true;
    }
    state_->changed.notify_one();
    isCurrent() ? thread_.detach() : thread_.join();
    *pending_ -= static_cast<int>(state_->tasks.size());
  }

  void async(Task task) override {
    ++*pending_;
    {
      const std::lock_guard lock(state_->mutex);
      state_->tasks.push_back(std::move(task));
    }
    state_->changed.notify_one();
  }
  void sync(const Task& task) override {
    if (isCurrent()) return task();
    std::promise<void> done;
    async([&] {
      task();
      done.set_value();
    });
    done.get_future().wait();
  }
  TimerId after(Seconds, Task) override { std::abort(); }
  void cancel(TimerId) override {}
  bool isCurrent() const override { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Task> tasks;
    bool ended = false;
  };
  static void run(State& state, Pending& pending, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::unique_lock lock(state.mutex);
    while (true) {
      state.changed.wait(lock, [&] { return state.ended || !state.tasks.empty(); });
      if (state.ended) return;
      Task task = std::move(state.tasks.front());
      state.tasks.pop_front();
      lock.unlock();
      for (auto yields = random() % 64; yields > 0; --yields) std::this_thread::yield();
      task();
      task = nullptr;
      --pending;
      lock.lock();
    }
  }

  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::shared_ptr<Pending> pending_;
  std::thread thread_;
};

/// A simulated device whose replies and background work come on threads of their own, at the pace
/// of a seed; the main queue and time stay simulated. Transfers are real.
class ThreadedPlatform : public FaultyPlatform {
 public:
  ThreadedPlatform(const std::shared_ptr<SimulatedPlatform>& device, std::uint64_t seed)
      : FaultyPlatform(device), seed_(seed) {}

  DispatchQueue& globalQueue() override { return global_; }
  URLLoadingSystem& urlLoadingSystem() override { return http_; }

  /// Runs the main queue until no thread has anything left to do; false after `limit`.
  bool settle(std::chrono::seconds limit = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
      simulated().runUntilIdle();
      if (*pending_ == 0 && watch_->transfers == 0) {
        simulated().runUntilIdle();
        if (*pending_ == 0 && watch_->transfers == 0) return true;
      }
      std::this_thread::yield();
    }
    return false;
  }

 private:
  struct Watch : HttpObserver {
    void transferDidStart(std::uint64_t) override { ++transfers; }
    void transferDidEnd(const HttpExchange&) override { --transfers; }
    std::atomic<int> transfers = 0;
  };

  std::uint64_t seed_;
  std::shared_ptr<Pending> pending_ = std::make_shared<Pending>(0);
  std::shared_ptr<Watch> watch_ = std::make_shared<Watch>();
  UnsteadyQueue global_{seed_, pending_};
  HttpURLLoadingSystem http_{
      {.temporaryDirectory = simulated().directories().temporary,
       .additionalCertificateAuthorities = {}},
      [this] { return std::make_shared<UnsteadyQueue>(seed_ + 1, pending_); },
      watch_};
};

}  // namespace ks::testing
