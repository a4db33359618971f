#include "BeaconSDK/Platform/Common/TaskSchedule.h"

#include <condition_variable>

#include "BeaconSDK/Platform/Common/SystemClock.h"

namespace ks {

Seconds dueAfter(Seconds delay) {
  const bool isLater = delay > Seconds{0};  // false for what is not a number
  return monotonicUptime() + (isLater ? delay : Seconds{0});
}

void runAndWait(DispatchQueue& queue, const Task& task) {
  if (queue.isCurrent()) {
    task();
    return;
  }
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;
  queue.async([&] {
    task();
    const std::lock_guard lock(mutex);
    done = true;
    finished.notify_one();
  });
  std::unique_lock lock(mutex);
  finished.wait(lock, [&] { return done; });
}

TaskSchedule::Added TaskSchedule::add(Seconds due, Task task) {
  const std::lock_guard lock(mutex_);
  const TimerId identifier = ++lastIdentifier_;
  if (closed_) return {identifier, false};
  const auto place = tasks_.emplace(Key{due, identifier}, std::move(task)).first;
  dueOf_.emplace(identifier, due);
  return {identifier, place == tasks_.begin()};
}

void TaskSchedule::cancel(TimerId identifier) {
  Task dropped;  // destroyed after the lock is released: its captures may call back
  const std::lock_guard lock(mutex_);
  const auto due = dueOf_.find(identifier);
  if (due == dueOf_.end()) return;
  const auto place = tasks_.find(Key{due->second, identifier});
  dropped = std::move(place->second);
  tasks_.erase(place);
  dueOf_.erase(due);
}

Task TaskSchedule::takeDue(Seconds now) {
  const std::lock_guard lock(mutex_);
  if (tasks_.empty() || tasks_.begin()->first.first > now) return nullptr;
  auto node = tasks_.extract(tasks_.begin());
  dueOf_.erase(node.key().second);
  return std::move(node.mapped());
}

std::optional<Seconds> TaskSchedule::nextDue() const {
  const std::lock_guard lock(mutex_);
  if (tasks_.empty()) return std::nullopt;
  return tasks_.begin()->first.first;
}

void TaskSchedule::close() {
  std::map<Key, Task> dropped;  // destroyed after the lock is released: captures may call back
  const std::lock_guard lock(mutex_);
  closed_ = true;
  dropped.swap(tasks_);
  dueOf_.clear();
}

}  // namespace ks
