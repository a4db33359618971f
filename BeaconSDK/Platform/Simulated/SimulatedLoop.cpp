#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

namespace ks {

namespace {

constexpr double kTicksPerSecond = 1e9;

/// Far more than any scenario needs: beyond it, tasks post each other without end and time would
/// never move again.
constexpr std::size_t kMostTasksAtOneMoment = 10'000'000;

/// The transfer for which this thread posts; see `SimulatedLoop::postAs`.
thread_local TransferId postingTransfer = 0;

}  // namespace

Seconds SimulatedLoop::LoopClock::uptime() const {
  return Seconds{static_cast<double>(ticks()) / kTicksPerSecond};
}

SimulatedLoop::SimulatedLoop(Date start, std::optional<std::uint64_t> shuffleSeed)
    : clock_(start), thread_(std::this_thread::get_id()) {
  if (shuffleSeed) shuffle_.emplace(*shuffleSeed);
}

SimulatedLoop::~SimulatedLoop() = default;

SimulatedLoop::Ticks SimulatedLoop::ticksIn(Seconds span) {
  const double ticks = std::round(span.count() * kTicksPerSecond);
  if (!(ticks > 0)) return 0;
  return ticks >= static_cast<double>(kNever) ? kNever : static_cast<Ticks>(ticks);
}

TimerId SimulatedLoop::post(SimulatedQueue& queue, Seconds delay, Task task) {
  const TimerId id = ++lastTask_;
  HeldPost post{&queue, id, ticksIn(delay), std::move(task)};
  if (transfers_.empty() || isLoopThread()) {
    insert(std::move(post));
  } else {
    const auto transfer = transfers_.find(postingTransfer);
    Transfer& owner = transfer != transfers_.end() ? transfer->second : transfers_.begin()->second;
    owner.held.push_back(std::move(post));
  }
  changed_.notify_all();
  return id;
}

void SimulatedLoop::insert(HeldPost post) {
  const Ticks now = clock_.ticks();
  const Ticks due = post.delay > kNever - now ? kNever : now + post.delay;
  post.queue->insert({due, post.id}, std::move(post.task));
}

void SimulatedLoop::remove(SimulatedQueue& queue, std::vector<Task>& garbage) {
  std::erase(queues_, &queue);
  for (auto& [key, task] : queue.tasks_) garbage.push_back(std::move(task));
  queue.tasks_.clear();
  queue.dues_.clear();
  removeHeld(queue, std::nullopt, garbage);
}

void SimulatedLoop::removeHeld(const SimulatedQueue& queue, std::optional<TimerId> timer,
                               std::vector<Task>& garbage) {
  for (auto& [id, transfer] : transfers_) {
    std::erase_if(transfer.held, [&](HeldPost& post) {
      if (post.queue != &queue || (timer && post.id != *timer)) return false;
      garbage.push_back(std::move(post.task));
      return true;
    });
  }
}

SimulatedLoop::Ticks SimulatedLoop::firstDue() const {
  Ticks first = kNever;
  for (const SimulatedQueue* queue : queues_) {
    if (!queue->tasks_.empty()) first = std::min(first, queue->tasks_.begin()->first.first);
  }
  return first;
}

SimulatedQueue* SimulatedLoop::pickQueue() {
  SimulatedQueue* best = nullptr;
  std::uint64_t tied = 1;
  for (SimulatedQueue* queue : queues_) {
    if (queue->tasks_.empty()) continue;
    if (best == nullptr) {
      best = queue;
      continue;
    }
    const auto key = queue->tasks_.begin()->first;
    const auto bestKey = best->tasks_.begin()->first;
    if (shuffle_ && key.first == bestKey.first) {
      // Each of the tied queues ends up chosen with the same chance.
      if (shuffle_->next() % ++tied == 0) best = queue;
    } else if (key < bestKey) {
      best = queue;
      tied = 1;
    }
  }
  return best;
}

bool SimulatedLoop::transferHasNews() const {
  const Transfer& first = transfers_.begin()->second;
  return first.ended || !first.held.empty();
}

bool SimulatedLoop::takeFromTransfer() {
  if (transfers_.empty() || !transferHasNews()) return false;
  Transfer& first = transfers_.begin()->second;
  if (first.held.empty()) {
    transfers_.erase(transfers_.begin());
  } else {
    insert(std::move(first.held.front()));
    first.held.pop_front();
  }
  return true;
}

bool SimulatedLoop::step(Ticks limit) {
  std::unique_lock lock(mutex_);
  thread_.store(std::this_thread::get_id());
  const auto isDue = [this] { return firstDue() <= clock_.ticks(); };
  while (!transfers_.empty() && !isDue()) {
    if (takeFromTransfer()) continue;
    changed_.wait(lock, [&] { return isDue() || transferHasNews(); });
  }
  SimulatedQueue* const queue = pickQueue();
  if (queue == nullptr) return false;
  const Ticks due = queue->tasks_.begin()->first.first;
  if (due > limit) return false;
  clock_.set(std::max(due, clock_.ticks()));
  const Task task = queue->takeFirst();
  lock.unlock();
  queue->run(task);
  return true;
}

void SimulatedLoop::runThrough(Ticks limit) {
  std::size_t tasksAtThisMoment = 0;
  Ticks moment = clock_.ticks();
  while (step(limit)) {
    if (std::exchange(moment, clock_.ticks()) != clock_.ticks()) tasksAtThisMoment = 0;
    if (++tasksAtThisMoment > kMostTasksAtOneMoment) {
      throw std::runtime_error("simulated time cannot move: tasks post each other without end");
    }
  }
  clock_.set(std::max(limit, clock_.ticks()));
}

void SimulatedLoop::runUntilIdle() { runThrough(clock_.ticks()); }

void SimulatedLoop::advance(Seconds span) {
  const Ticks now = clock_.ticks();
  const Ticks ticks = ticksIn(span);
  runThrough(ticks > kNever - now ? kNever : now + ticks);
}

void SimulatedLoop::runUntil(Date moment) {
  runThrough(std::max(ticksIn(moment - clock_.start()), clock_.ticks()));
}

bool SimulatedLoop::runNext() { return step(kNever); }

std::optional<Date> SimulatedLoop::nextDue() const {
  const std::lock_guard lock(mutex_);
  if (!transfers_.empty()) return clock_.now();
  const bool allDone = std::ranges::all_of(
      queues_, [](const SimulatedQueue* queue) { return queue->tasks_.empty(); });
  if (allDone) return std::nullopt;
  const double seconds = static_cast<double>(firstDue()) / kTicksPerSecond;
  return std::max(clock_.start() + Seconds{seconds}, clock_.now());
}

void SimulatedLoop::stall(Seconds span) {
  const Ticks now = clock_.ticks();
  const Ticks ticks = ticksIn(span);
  clock_.set(ticks > kNever - now ? kNever : now + ticks);
}

TransferId SimulatedLoop::beginTransfer() {
  const std::lock_guard lock(mutex_);
  transfers_.emplace(++lastTransfer_, Transfer{});
  return lastTransfer_;
}

void SimulatedLoop::postAs(TransferId transfer) { postingTransfer = transfer; }

void SimulatedLoop::endTransfer(TransferId transfer) {
  const std::lock_guard lock(mutex_);
  const auto found = transfers_.find(transfer);
  if (found == transfers_.end()) return;
  found->second.ended = true;
  changed_.notify_all();
}

std::size_t SimulatedLoop::transfersUnderWay() const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::ranges::count_if(transfers_, [](const auto& entry) { return !entry.second.ended; }));
}

}  // namespace ks
