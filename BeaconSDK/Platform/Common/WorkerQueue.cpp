#include "BeaconSDK/Platform/Common/WorkerQueue.h"

#include <algorithm>

#include "BeaconSDK/Platform/Common/NamedThread.h"
#include "BeaconSDK/Platform/Common/SystemClock.h"

namespace ks {

namespace {

constexpr Seconds kLongestWait{24.0 * 60 * 60};

}  // namespace

WorkerQueue::WorkerQueue(const char* name)
    : thread_(startThread(name, [shared = shared_] { run(shared); })) {}

WorkerQueue::~WorkerQueue() {
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->ended = true;
  }
  shared_->changed.notify_one();
  if (isCurrent()) {
    thread_.detach();
  } else {
    thread_.join();
  }
  shared_->schedule.close();
}

void WorkerQueue::sync(const Task& task) { runAndWait(*this, task); }

TimerId WorkerQueue::after(Seconds delay, Task task) {
  const auto added = shared_->schedule.add(dueAfter(delay), std::move(task));
  if (added.isFirst) {
    const std::lock_guard lock(shared_->mutex);
    shared_->woken = true;
    shared_->changed.notify_one();
  }
  return added.identifier;
}

void WorkerQueue::cancel(TimerId timer) { shared_->schedule.cancel(timer); }

bool WorkerQueue::waitUntilDue(Shared& shared) {
  std::unique_lock lock(shared.mutex);
  const auto stirred = [&] { return shared.woken || shared.ended; };
  if (const auto due = shared.schedule.nextDue()) {
    // A longer wait might not fit into the system's count of nanoseconds.
    const Seconds left = std::min(*due - monotonicUptime(), kLongestWait);
    shared.changed.wait_for(lock, left, stirred);
  } else {
    shared.changed.wait(lock, stirred);
  }
  shared.woken = false;
  return !shared.ended;
}

void WorkerQueue::run(const std::shared_ptr<Shared>& shared) {
  while (waitUntilDue(*shared)) {
    while (Task task = shared->schedule.takeDue(monotonicUptime())) {
      task();
      task = nullptr;
      const std::lock_guard lock(shared->mutex);
      if (shared->ended) return;
    }
  }
}

}  // namespace ks
