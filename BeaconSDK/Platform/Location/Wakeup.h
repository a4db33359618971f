#pragma once

#include <utility>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// A one-shot timer that is cancelled when destroyed and may be re-armed from its own callback. Use
/// it on the queue's own thread.
class Wakeup {
 public:
  Wakeup() = default;
  Wakeup(const Wakeup&) = delete;
  Wakeup& operator=(const Wakeup&) = delete;
  ~Wakeup() { cancel(); }

  /// Runs `task` on `queue` after `delay`, replacing a pending one.
  void arm(DispatchQueue& queue, Seconds delay, Task task) {
    cancel();
    queue_ = &queue;
    timer_ = queue.after(delay, [this, task = std::move(task)] {
      timer_ = 0;
      task();
    });
  }
  void cancel() {
    if (timer_ != 0) queue_->cancel(std::exchange(timer_, 0));
  }
  bool isArmed() const { return timer_ != 0; }

 private:
  DispatchQueue* queue_ = nullptr;
  TimerId timer_ = 0;
};

}  // namespace ks
