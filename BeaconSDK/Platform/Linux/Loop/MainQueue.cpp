#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "BeaconSDK/Platform/Common/SystemClock.h"

namespace ks {

namespace {

struct QueueSource {
  GSource base;
  /// Shared with the queue, so that a dispatch under way outlives it.
  std::shared_ptr<TaskSchedule>* schedule;
};

TaskSchedule& scheduleOf(GSource* source) {
  return **reinterpret_cast<QueueSource*>(source)->schedule;
}

/// Milliseconds until `due`, rounded up so that the loop does not spin; -1 for never.
int millisecondsUntil(const std::optional<Seconds>& due) {
  if (!due) return -1;
  const double left = std::ceil((*due - monotonicUptime()).count() * 1000);
  return static_cast<int>(
      std::clamp(left, 0.0, static_cast<double>(std::numeric_limits<int>::max())));
}

gboolean prepare(GSource* source, gint* timeout) {
  *timeout = millisecondsUntil(scheduleOf(source).nextDue());
  return *timeout == 0;
}

gboolean check(GSource* source) { return millisecondsUntil(scheduleOf(source).nextDue()) == 0; }

/// Runs what was due when the turn began: tasks that these post wait for the loop's next turn, so
/// that the host's own sources get theirs.
gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
  const std::shared_ptr<TaskSchedule> schedule = *reinterpret_cast<QueueSource*>(source)->schedule;
  const Seconds turn = monotonicUptime();
  while (Task task = schedule->takeDue(turn)) {
    task();
    if (g_source_is_destroyed(source)) break;
  }
  return G_SOURCE_CONTINUE;
}

void finalize(GSource* source) { delete reinterpret_cast<QueueSource*>(source)->schedule; }

GSourceFuncs kFunctions = {prepare, check, dispatch, finalize, nullptr, nullptr};

}  // namespace

MainQueue::MainQueue(GMainContext* context)
    : context_(g_main_context_ref(context ? context : g_main_context_default())),
      source_(g_source_new(&kFunctions, sizeof(QueueSource))) {
  reinterpret_cast<QueueSource*>(source_)->schedule = new std::shared_ptr<TaskSchedule>(schedule_);
  g_source_set_name(source_, "KSBeaconSDK main queue");
  g_source_set_can_recurse(source_, TRUE);
  g_source_attach(source_, context_);
}

MainQueue::~MainQueue() {
  schedule_->close();
  g_source_destroy(source_);
  g_source_unref(source_);
  g_main_context_unref(context_);
}

void MainQueue::sync(const Task& task) { runAndWait(*this, task); }

TimerId MainQueue::after(Seconds delay, Task task) {
  const auto added = schedule_->add(dueAfter(delay), std::move(task));
  if (added.isFirst && !isCurrent()) g_main_context_wakeup(context_);
  return added.identifier;
}

}  // namespace ks
