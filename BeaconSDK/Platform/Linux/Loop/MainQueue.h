#pragma once

#include <memory>
#include <thread>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Common/TaskSchedule.h"

typedef struct _GMainContext GMainContext;
typedef struct _GSource GSource;

namespace ks {

/// The main queue as a source of a GLib main context, so that it runs inside a GTK, Qt or bare
/// host's loop. The thread that makes the queue is the main thread and must be the one that runs
/// the loop.
///
/// Tasks are handed over through a lock that thread checkers can see and a wake-up of the context;
/// the loop sleeps until the next task is due.
class MainQueue : public DispatchQueue {
 public:
  /// Null is the default context.
  explicit MainQueue(GMainContext* context = nullptr);
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;
  /// On the main thread.
  ~MainQueue() override;

  void async(Task task) override { after(Seconds{0}, std::move(task)); }
  /// On another thread this needs a loop that runs.
  void sync(const Task& task) override;
  TimerId after(Seconds delay, Task task) override;
  void cancel(TimerId timer) override { schedule_->cancel(timer); }
  /// True on the main thread, also outside of tasks: the host's own code runs there.
  bool isCurrent() const override { return std::this_thread::get_id() == thread_; }

 private:
  std::thread::id thread_ = std::this_thread::get_id();
  std::shared_ptr<TaskSchedule> schedule_ = std::make_shared<TaskSchedule>();
  GMainContext* context_;
  GSource* source_;
};

}  // namespace ks
