#pragma once

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// A one-shot timer on a queue. Used on that queue only.
///
/// A member of the object that waits: destroying it cancels it, so its task may refer to the owner.
/// The task may schedule the alarm again and may destroy it.
class Alarm {
 public:
  explicit Alarm(DispatchQueue& queue) : queue_(queue) {}
  ~Alarm() { invalidate(); }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

  /// Runs `task` once after `delay`, replacing a pending task.
  void schedule(Seconds delay, Task task);
  void invalidate();
  /// False once the task has begun to run.
  bool isScheduled() const { return timer_ != 0; }

 private:
  DispatchQueue& queue_;
  TimerId timer_ = 0;
};

}  // namespace ks
