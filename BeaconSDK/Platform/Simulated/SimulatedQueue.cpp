#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

#include <future>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

namespace ks {

SimulatedQueue::SimulatedQueue(std::shared_ptr<SimulatedLoop> loop, Role role)
    : loop_(std::move(loop)), role_(role) {
  const std::lock_guard lock(loop_->mutex_);
  loop_->queues_.push_back(this);
}

SimulatedQueue::~SimulatedQueue() {
  // Destroyed outside the lock: what a task holds may use the loop in its own destructor.
  std::vector<Task> garbage;
  const std::lock_guard lock(loop_->mutex_);
  loop_->remove(*this, garbage);
}

void SimulatedQueue::insert(Key key, Task task) {
  dues_.emplace(key.second, key.first);
  tasks_.emplace(key, std::move(task));
}

Task SimulatedQueue::takeFirst() {
  auto node = tasks_.extract(tasks_.begin());
  dues_.erase(node.key().second);
  return std::move(node.mapped());
}

void SimulatedQueue::async(Task task) { after(Seconds{0}, std::move(task)); }

TimerId SimulatedQueue::after(Seconds delay, Task task) {
  const std::lock_guard lock(loop_->mutex_);
  return loop_->post(*this, delay, std::move(task));
}

void SimulatedQueue::cancel(TimerId timer) {
  std::vector<Task> garbage;
  const std::lock_guard lock(loop_->mutex_);
  const auto due = dues_.find(timer);
  if (due == dues_.end()) {
    loop_->removeHeld(*this, timer, garbage);
    return;
  }
  garbage.push_back(std::move(tasks_.extract({due->second, timer}).mapped()));
  dues_.erase(due);
}

void SimulatedQueue::run(const Task& task) {
  struct Scope {
    explicit Scope(SimulatedQueue& queue)
        : self(queue), outer(std::exchange(queue.loop_->current_, &queue)) {
      ++self.depth_;
    }
    ~Scope() {
      --self.depth_;
      self.loop_->current_ = outer;
    }
    SimulatedQueue& self;
    SimulatedQueue* outer;
  };
  const Scope scope(*this);
  task();
}

void SimulatedQueue::sync(const Task& task) {
  if (!loop_->isLoopThread()) {
    auto done = std::make_shared<std::promise<void>>();
    auto finished = done->get_future();
    async([done, task] {
      task();
      done->set_value();
    });
    finished.wait();
    return;
  }
  // A queue that is suspended further down owes nothing before this task.
  while (depth_ == 0) {
    std::unique_lock lock(loop_->mutex_);
    if (tasks_.empty() || tasks_.begin()->first.first > loop_->clock_.ticks()) break;
    const Task earlier = takeFirst();
    lock.unlock();
    run(earlier);
  }
  run(task);
}

bool SimulatedQueue::isCurrent() const {
  if (!loop_->isLoopThread()) return false;
  return loop_->current_ == this || (loop_->current_ == nullptr && role_ == Role::main);
}

std::size_t SimulatedQueue::pendingTasks() const {
  const std::lock_guard lock(loop_->mutex_);
  return tasks_.size();
}

}  // namespace ks
