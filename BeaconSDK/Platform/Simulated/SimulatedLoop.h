#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Simulated/SplitMix64.h"

namespace ks {

class SimulatedQueue;

/// 2026-01-01T08:00:00Z, the default start of simulated time.
inline constexpr Date kSimulatedStart{Seconds{1767254400}};

/// Identifies a transfer that stops virtual time; 0 identifies none.
using TransferId = std::uint64_t;

/// One scheduler for all queues of a simulated device.
///
/// Time jumps from due task to due task and advances in no other way. Tasks run on the thread that
/// calls a `run...` operation, in the order in which they fall due, ties in posting order, so the
/// same program runs the same way every time. While a transfer over the real network is running,
/// the loop runs all due tasks and then sleeps until the transfer reports, without advancing time.
/// Tasks that transfers post are taken one at a time, when nothing else is due, in the order in
/// which the transfers began, so the speed of the network has no effect.
///
/// Tasks may be posted from any thread. The operations that run tasks belong to one thread at a
/// time, which then counts as the device's main thread; a task may call them again.
class SimulatedLoop {
 public:
  /// With a `shuffleSeed`, ties between different queues are broken at random instead, repeatably;
  /// the order within a queue stays.
  explicit SimulatedLoop(Date start = kSimulatedStart,
                         std::optional<std::uint64_t> shuffleSeed = std::nullopt);
  SimulatedLoop(const SimulatedLoop&) = delete;
  SimulatedLoop& operator=(const SimulatedLoop&) = delete;
  ~SimulatedLoop();

  /// Lives as long as the loop.
  const Clock& clock() const { return clock_; }
  Clock& clock() { return clock_; }

  /// Runs everything that is due now, transfers and what follows from them included.
  void runUntilIdle();
  /// Runs everything that falls due within `span`; time has then advanced by that much, or more if
  /// the last task stalled.
  void advance(Seconds span);
  /// As `advance`, up to a date; a past one means now.
  void runUntil(Date moment);
  /// As `runUntil`, for a time of the uptime, which setting the wall clock does not change.
  void runUntilUptime(Seconds uptime);
  /// Sets the wall clock; uptime and timers are not affected.
  void setWallClock(Date now) { clock_.setNow(now); }
  /// Runs the next task, advancing time to it if needed; false when there is none.
  bool runNext();
  /// Returns when the next task is due: now while a transfer is running; absent when there is none.
  std::optional<Date> nextDue() const;
  std::optional<Seconds> nextDueUptime() const;
  /// Advances time inside a task, as slow code does: nothing runs meanwhile.
  void stall(Seconds span);

  /// Stops virtual time until `endTransfer`. Any thread.
  TransferId beginTransfer();
  /// Sets the transfer for which the calling thread, not the loop's own, posts from now on; 0: the
  /// earliest one running.
  static void postAs(TransferId transfer);
  /// Ignores unknown identifiers. Any thread.
  void endTransfer(TransferId transfer);
  std::size_t transfersUnderWay() const;

  /// True on the thread that ran the loop last, or created it.
  bool isLoopThread() const { return std::this_thread::get_id() == thread_.load(); }

 private:
  friend class SimulatedQueue;

  /// Virtual nanoseconds since the start: equal moments are exactly equal.
  using Ticks = std::int64_t;

  class LoopClock : public Clock {
   public:
    explicit LoopClock(Date start) : start_(start) {}
    Date now() const override { return start_.load() + uptime(); }
    void setNow(Date now) { start_.store(now - uptime()); }
    Seconds uptime() const override;
    Ticks ticks() const { return ticks_.load(); }
    void set(Ticks ticks) { ticks_.store(ticks); }
    Date start() const { return start_.load(); }

   private:
    /// The wall clock when the uptime was 0; changes when the wall clock is set.
    std::atomic<Date> start_;
    std::atomic<Ticks> ticks_{0};
  };

  /// When a task is due, and its place in the posting order.
  using Key = std::pair<Ticks, TimerId>;

  /// The content of a queue; outlives the queue while one of its tasks runs.
  struct Lane {
    bool isMain = false;
    std::map<Key, Task> tasks;
    std::unordered_map<TimerId, Ticks> dues;
    /// How many of its tasks run now, one inside the other. Of the loop's thread only.
    int depth = 0;
  };

  /// A task that a transfer has posted and the loop has not taken yet.
  struct HeldPost {
    std::shared_ptr<Lane> lane;
    TimerId id;
    Ticks delay;
    Task task;
  };
  struct Transfer {
    bool ended = false;
    std::deque<HeldPost> held;
  };

  /// Later than any task: about 292 years after the start.
  static constexpr Ticks kNever = std::numeric_limits<Ticks>::max();

  static Ticks ticksIn(Seconds span);
  /// The lock is held in the operations from here to `takeFromTransfer`.
  TimerId post(const std::shared_ptr<Lane>& lane, Seconds delay, Task task);
  void insert(HeldPost post);
  static Task takeFirst(Lane& lane);
  /// Drops one task. Dropped tasks go to `garbage`, to be destroyed without the lock.
  void drop(Lane& lane, TimerId timer, std::vector<Task>& garbage);
  /// Drops all tasks and the lane itself.
  void remove(const Lane& lane, std::vector<Task>& garbage);
  void dropHeld(const Lane& lane, std::optional<TimerId> timer, std::vector<Task>& garbage);
  /// The lane to serve next among those whose first task is the earliest due; null for none.
  std::shared_ptr<Lane> pickLane();
  Ticks firstDue() const;
  bool transferHasNews() const;
  /// Moves one task of the earliest transfer to its queue, or removes the transfer if it has ended;
  /// false when there is nothing to take.
  bool takeFromTransfer();

  /// Runs one task that is due by `limit`, waiting for transfers; false when there is none.
  bool step(Ticks limit);
  void runThrough(Ticks limit);
  void run(Lane& lane, const Task& task);

  LoopClock clock_;
  std::atomic<std::thread::id> thread_;
  std::optional<SplitMix64> shuffle_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::shared_ptr<Lane>> lanes_;
  std::uint64_t lastTask_ = 0;
  TransferId lastTransfer_ = 0;
  std::map<TransferId, Transfer> transfers_;
  /// The lane whose task runs; only for the loop's thread.
  Lane* current_ = nullptr;
};

}  // namespace ks
