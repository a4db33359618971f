#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace ks {

namespace {

constexpr double kTicksPerSecond = 1e9;

/// Far more than any scenario needs: beyond it, tasks post each other without end and time would
/// never move again.
constexpr std::size_t kMostTasksAtOneMoment = 200'000;

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
  if (!(span.count() > 0)) return 0;
  // Whoever waits for the rest of a rounded span must see time move.
  const double ticks = std::max(std::round(span.count() * kTicksPerSecond), 1.0);
  return ticks >= static_cast<double>(kNever) ? kNever : static_cast<Ticks>(ticks);
}

TimerId SimulatedLoop::post(const std::shared_ptr<Lane>& lane, Seconds delay, Task task) {
  const TimerId id = ++lastTask_;
  HeldPost post{lane, id, ticksIn(delay), std::move(task)};
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
  post.lane->dues.emplace(post.id, due);
  post.lane->tasks.emplace(Key{due, post.id}, std::move(post.task));
}

Task SimulatedLoop::takeFirst(Lane& lane) {
  auto node = lane.tasks.extract(lane.tasks.begin());
  lane.dues.erase(node.key().second);
  return std::move(node.mapped());
}

void SimulatedLoop::drop(Lane& lane, TimerId timer, std::vector<Task>& garbage) {
  const auto due = lane.dues.find(timer);
  if (due == lane.dues.end()) {
    dropHeld(lane, timer, garbage);
    return;
  }
  garbage.push_back(std::move(lane.tasks.extract({due->second, timer}).mapped()));
  lane.dues.erase(due);
}

void SimulatedLoop::remove(const Lane& lane, std::vector<Task>& garbage) {
  const auto found = std::ranges::find(lanes_, &lane, &std::shared_ptr<Lane>::get);
  for (auto& [key, task] : (*found)->tasks) garbage.push_back(std::move(task));
  (*found)->tasks.clear();
  lanes_.erase(found);
  dropHeld(lane, std::nullopt, garbage);
}

void SimulatedLoop::dropHeld(const Lane& lane, std::optional<TimerId> timer,
                             std::vector<Task>& garbage) {
  for (auto& [id, transfer] : transfers_) {
    std::erase_if(transfer.held, [&](HeldPost& post) {
      if (post.lane.get() != &lane || (timer && post.id != *timer)) return false;
      garbage.push_back(std::move(post.task));
      return true;
    });
  }
}

SimulatedLoop::Ticks SimulatedLoop::firstDue() const {
  Ticks first = kNever;
  for (const auto& lane : lanes_) {
    if (!lane->tasks.empty()) first = std::min(first, lane->tasks.begin()->first.first);
  }
  return first;
}

std::shared_ptr<SimulatedLoop::Lane> SimulatedLoop::pickLane() {
  const std::shared_ptr<Lane>* best = nullptr;
  std::uint64_t tied = 1;
  for (const auto& lane : lanes_) {
    if (lane->tasks.empty()) continue;
    if (best == nullptr) {
      best = &lane;
      continue;
    }
    const Key key = lane->tasks.begin()->first;
    const Key bestKey = (*best)->tasks.begin()->first;
    if (shuffle_ && key.first == bestKey.first) {
      // Each of the tied lanes ends up chosen with the same chance.
      if (shuffle_->next() % ++tied == 0) best = &lane;
    } else if (key < bestKey) {
      best = &lane;
      tied = 1;
    }
  }
  return best != nullptr ? *best : nullptr;
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
  const std::shared_ptr<Lane> lane = pickLane();
  if (lane == nullptr) return false;
  const Ticks due = lane->tasks.begin()->first.first;
  if (due > limit) return false;
  clock_.set(std::max(due, clock_.ticks()));
  const Task task = takeFirst(*lane);
  lock.unlock();
  run(*lane, task);
  return true;
}

void SimulatedLoop::run(Lane& lane, const Task& task) {
  struct Scope {
    Scope(SimulatedLoop& loop, Lane& lane)
        : loop(loop), lane(lane), outer(std::exchange(loop.current_, &lane)) {
      ++lane.depth;
    }
    ~Scope() {
      --lane.depth;
      loop.current_ = outer;
    }
    SimulatedLoop& loop;
    Lane& lane;
    Lane* outer;
  };
  const Scope scope(*this, lane);
  task();
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

void SimulatedLoop::runUntilUptime(Seconds uptime) {
  runThrough(std::max(ticksIn(uptime), clock_.ticks()));
}

bool SimulatedLoop::runNext() { return step(kNever); }

std::optional<Date> SimulatedLoop::nextDue() const {
  const auto due = nextDueUptime();
  if (!due) return std::nullopt;
  return std::max(clock_.start() + *due, clock_.now());
}

std::optional<Seconds> SimulatedLoop::nextDueUptime() const {
  const std::lock_guard lock(mutex_);
  if (!transfers_.empty()) return clock_.uptime();
  const bool allDone =
      std::ranges::all_of(lanes_, [](const auto& lane) { return lane->tasks.empty(); });
  if (allDone) return std::nullopt;
  return Seconds{static_cast<double>(std::max(firstDue(), clock_.ticks())) / kTicksPerSecond};
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
