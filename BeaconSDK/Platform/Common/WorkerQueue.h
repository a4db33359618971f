#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Common/TaskSchedule.h"

namespace ks {

/// A serial queue with a thread of its own, which sleeps until a task is due.
///
/// May be destroyed on its own thread, as when its last task drops the last reference: that task
/// then runs to its end.
class WorkerQueue : public DispatchQueue {
 public:
  /// `name` shows in debuggers; at most 15 characters of it. Throws `std::system_error`, naming the
  /// queue, if there is no thread to be had.
  explicit WorkerQueue(const char* name);
  WorkerQueue(const WorkerQueue&) = delete;
  WorkerQueue& operator=(const WorkerQueue&) = delete;
  ~WorkerQueue() override;

  void async(Task task) override { after(Seconds{0}, std::move(task)); }
  void sync(const Task& task) override;
  TimerId after(Seconds delay, Task task) override;
  void cancel(TimerId timer) override;
  bool isCurrent() const override { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  /// State that the thread may use after the queue was destroyed.
  struct Shared {
    TaskSchedule schedule;
    std::mutex mutex;
    std::condition_variable changed;
    bool woken = false;
    bool ended = false;
  };
  static void run(const std::shared_ptr<Shared>& shared);
  static bool waitUntilDue(Shared& shared);

  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
  std::thread thread_;
};

}  // namespace ks
