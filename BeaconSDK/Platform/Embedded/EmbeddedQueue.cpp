#include "BeaconSDK/Platform/Embedded/EmbeddedQueue.h"

#include <poll.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <system_error>

#include "BeaconSDK/Platform/Common/SystemClock.h"

namespace ks {

namespace {

/// Waits beyond this are cut: a longer one might not fit into the system's counts.
constexpr Seconds kLongestWait{24.0 * 60 * 60};

/// The uptime as the system's timer takes it; never the moment 0, which would switch it off.
timespec timerMoment(Seconds uptime) {
  const double seconds = std::floor(uptime.count());
  constexpr double kNanoseconds = 1e9;
  timespec moment{};
  moment.tv_sec = static_cast<time_t>(seconds);
  moment.tv_nsec = static_cast<long>((uptime.count() - seconds) * kNanoseconds);
  if (moment.tv_sec == 0 && moment.tv_nsec == 0) moment.tv_nsec = 1;
  return moment;
}

int milliseconds(Seconds wait) {
  if (!(wait >= Seconds{0})) return -1;
  return static_cast<int>(std::ceil(std::min(wait, kLongestWait).count() * 1000));
}

/// The main queue is the host's while a turn lasts, also when a task throws.
class Turn {
 public:
  explicit Turn(bool& isRunning) : isRunning_(isRunning) { isRunning_ = true; }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  ~Turn() { isRunning_ = false; }

 private:
  bool& isRunning_;
};

}  // namespace

EmbeddedQueue::EmbeddedQueue()
    : timer_(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {
  if (!timer_) throw std::system_error(errno, std::generic_category(), "main queue");
}

EmbeddedQueue::~EmbeddedQueue() { schedule_->close(); }

void EmbeddedQueue::sync(const Task& task) { runAndWait(*this, task); }

TimerId EmbeddedQueue::after(Seconds delay, Task task) {
  const auto added = schedule_->add(dueAfter(delay), std::move(task));
  if (added.isFirst) armTimer();
  return added.identifier;
}

void EmbeddedQueue::armTimer() {
  const std::lock_guard lock(timerMutex_);
  itimerspec setting{};
  if (const auto due = schedule_->nextDue()) {
    setting.it_value = timerMoment(std::min(*due, monotonicUptime() + kLongestWait));
  }
  ::timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

bool EmbeddedQueue::runOnce(Seconds timeout) {
  pollfd readable{.fd = timer_.get(), .events = POLLIN, .revents = 0};
  ::poll(&readable, 1, milliseconds(timeout));
  const Seconds turn = monotonicUptime();
  bool ran = false;
  {
    const Turn running(isRunning_);
    while (Task task = schedule_->takeDue(turn)) {
      ran = true;
      task();
    }
  }
  // Also takes back the mark of the tasks that have run.
  armTimer();
  return ran;
}

}  // namespace ks
