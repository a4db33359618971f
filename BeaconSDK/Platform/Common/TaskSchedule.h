#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// The uptime at which a task falls due that waits for `delay`; a delay of 0 or less means now.
Seconds dueAfter(Seconds delay);

/// Runs the task on the queue and returns when it has ended; at once on the queue's own thread.
void runAndWait(DispatchQueue& queue, const Task& task);

/// The tasks that a queue has yet to run, by the moment at which they fall due, ties in posting
/// order. Moments are uptimes. Any thread.
class TaskSchedule {
 public:
  /// The identifier is never 0. `isFirst` tells whether the task is now the next to fall due, so
  /// that whoever sleeps until then must be woken.
  struct Added {
    TimerId identifier;
    bool isFirst;
  };
  Added add(Seconds due, Task task);
  /// Unknown identifiers are ignored. The task is destroyed before the call returns.
  void cancel(TimerId identifier);
  /// Takes the next task that is due at `now`; null when there is none.
  Task takeDue(Seconds now);
  /// When the next task falls due; nothing when there is none.
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
