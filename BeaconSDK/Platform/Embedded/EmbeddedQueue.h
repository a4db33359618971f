#pragma once

#include <memory>
#include <thread>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Common/TaskSchedule.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// The main queue of a device whose host runs it, a turn at a time, from a loop of its own. The
/// thread that makes the queue is the main thread.
class EmbeddedQueue : public DispatchQueue {
 public:
  /// Throws `std::system_error` when the system has no descriptor left.
  EmbeddedQueue();
  EmbeddedQueue(const EmbeddedQueue&) = delete;
  EmbeddedQueue& operator=(const EmbeddedQueue&) = delete;
  ~EmbeddedQueue() override;

  void async(Task task) override { after(Seconds{0}, std::move(task)); }
  /// On another thread this needs a host that goes on calling `runOnce`.
  void sync(const Task& task) override;
  TimerId after(Seconds delay, Task task) override;
  void cancel(TimerId timer) override { schedule_->cancel(timer); }
  /// True on the main thread, also outside of tasks: the host's own code runs there.
  bool isCurrent() const override { return std::this_thread::get_id() == thread_; }

  /// Readable while a task is due. Stays the queue's own: only for polling.
  int descriptor() const { return timer_.get(); }
  /// Runs what is due, having waited at most `timeout` for something to be; a negative one waits
  /// for as long as it takes. Tasks that these post wait for the next turn. False when nothing was
  /// due. Main thread only, not from within a task.
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
