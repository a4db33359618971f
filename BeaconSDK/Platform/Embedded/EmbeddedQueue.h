#pragma once

#include <memory>
#include <thread>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Common/TaskSchedule.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// The main queue of a device whose host runs it, a turn at a time, from its own loop. The thread
/// that creates the queue is the main thread.
class EmbeddedQueue : public DispatchQueue {
 public:
  /// Throws `std::system_error` when the system has no descriptor left.
  EmbeddedQueue();
  EmbeddedQueue(const EmbeddedQueue&) = delete;
  EmbeddedQueue& operator=(const EmbeddedQueue&) = delete;
  ~EmbeddedQueue() override;

  void async(Task task) override { after(Seconds{0}, std::move(task)); }
  /// Called on another thread, it needs a host that keeps calling `runOnce`.
  void sync(const Task& task) override;
  TimerId after(Seconds delay, Task task) override;
  void cancel(TimerId timer) override { schedule_->cancel(timer); }
  /// True on the main thread, also outside of tasks: the host's own code runs there.
  bool isCurrent() const override { return std::this_thread::get_id() == thread_; }

  /// Readable while a task is due. Owned by the queue; only for polling.
  int descriptor() const { return timer_.get(); }
  /// Waits at most `timeout` (negative: without limit) until a task is due and runs the due ones;
  /// tasks that they post wait for the next turn. False when none was due. Main thread only, not
  /// from within a task.
  bool runOnce(Seconds timeout);
  /// True while `runOnce` runs a task.
  bool isRunning() const { return isRunning_; }

 private:
  /// Lets the descriptor become readable when the next task falls due.
  void armTimer();

  std::thread::id thread_ = std::this_thread::get_id();
  std::shared_ptr<TaskSchedule> schedule_ = std::make_shared<TaskSchedule>();
  /// Orders the settings of the timer; the schedule has a lock of its own.
  std::mutex timerMutex_;
  FileDescriptor timer_;
  bool isRunning_ = false;
};

}  // namespace ks
