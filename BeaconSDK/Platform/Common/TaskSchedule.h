#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Returns the uptime at which a task with `delay` falls due; 0 or less means now.
Seconds dueAfter(Seconds delay);

/// Runs the task on the queue and waits for it; in place on the queue's own thread.
void runAndWait(DispatchQueue& queue, const Task& task);

/// The pending tasks of a queue by the time at which they fall due, ties in posting order. Times
/// are uptimes. Any thread.
class TaskSchedule {
 public:
  /// The identifier is never 0. `isFirst` is true when the task is now the first to fall due, so
  /// that a sleeping queue must be woken.
  struct Added {
    TimerId identifier;
    bool isFirst;
  };
  Added add(Seconds due, Task task);
  /// Ignores unknown identifiers. Destroys the task before the call returns.
  void cancel(TimerId identifier);
  /// Takes the next task that is due at `now`; null when there is none.
  Task takeDue(Seconds now);
  /// Returns when the next task falls due; nothing when there is none.
  std::optional<Seconds> nextDue() const;
  /// Destroys all tasks, and from then on each that is added. What the tasks hold may still use the
  /// schedule while it goes.
  void close();

 private:
  using Key = std::pair<Seconds, TimerId>;
  mutable std::mutex mutex_;
  TimerId lastIdentifier_ = 0;
  bool closed_ = false;
  std::map<Key, Task> tasks_;
  std::unordered_map<TimerId, Seconds> dueOf_;
};

}  // namespace ks
