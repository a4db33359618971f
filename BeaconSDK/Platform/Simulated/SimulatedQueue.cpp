#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

#include <future>
#include <mutex>
#include <utility>
#include <vector>

namespace ks {

SimulatedQueue::SimulatedQueue(std::shared_ptr<SimulatedLoop> loop, Role role)
    : loop_(std::move(loop)), lane_(std::make_shared<SimulatedLoop::Lane>()) {
  lane_->isMain = role == Role::main;
  const std::lock_guard lock(loop_->mutex_);
  loop_->lanes_.push_back(lane_);
}

SimulatedQueue::~SimulatedQueue() {
  // Destroyed after the lock is free: what a task holds may use the loop in its own destructor.
  std::vector<Task> garbage;
  const std::lock_guard lock(loop_->mutex_);
  loop_->remove(*lane_, garbage);
}

void SimulatedQueue::async(Task task) { after(Seconds{0}, std::move(task)); }

TimerId SimulatedQueue::after(Seconds delay, Task task) {
  const std::lock_guard lock(loop_->mutex_);
  return loop_->post(lane_, delay, std::move(task));
}

void SimulatedQueue::cancel(TimerId timer) {
  std::vector<Task> garbage;
  const std::lock_guard lock(loop_->mutex_);
  loop_->drop(*lane_, timer, garbage);
}

void SimulatedQueue::sync(const Task& task) {
  if (!loop_->isLoopThread()) {
    auto done = std::make_shared<std::promise<void>>();
    auto finished = done->get_future();
    async([done, task] {
      task();
      done->set_value();
    });
    done.reset();
    // Also when the queue is destroyed first, which breaks the promise.
    finished.wait();
    return;
  }
  // A queue that is suspended further down owes nothing before this task.
  while (lane_->depth == 0) {
    std::unique_lock lock(loop_->mutex_);
    if (lane_->tasks.empty() || lane_->tasks.begin()->first.first > loop_->clock_.ticks()) break;
    const Task earlier = SimulatedLoop::takeFirst(*lane_);
    lock.unlock();
    loop_->run(*lane_, earlier);
  }
  loop_->run(*lane_, task);
}

bool SimulatedQueue::syncFor(const Task& task, Seconds limit) {
  if (!loop_->isLoopThread()) return DispatchQueue::syncFor(task, limit);
  const Seconds start = loop_->clock().uptime();
  sync(task);
  return loop_->clock().uptime() - start <= limit;
}

bool SimulatedQueue::isCurrent() const {
  if (!loop_->isLoopThread()) return false;
  if (loop_->current_ == nullptr) return lane_->isMain;
  return loop_->current_ == lane_.get();
}

std::size_t SimulatedQueue::pendingTasks() const {
  const std::lock_guard lock(loop_->mutex_);
  return lane_->tasks.size();
}

}  // namespace ks
