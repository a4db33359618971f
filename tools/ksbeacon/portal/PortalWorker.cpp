#include "tools/ksbeacon/portal/PortalWorker.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "BeaconSDK/Platform/Common/NamedThread.h"

namespace ks::portal {

namespace {

/// A GLib source that calls a C++ function.
struct CallingSource {
  GSource base;
  std::function<void()>* call;
};

gboolean dispatchCall(GSource* source, GSourceFunc, gpointer) {
  g_source_set_ready_time(source, -1);
  // A copy: the callback may destroy its timer.
  const auto call = *reinterpret_cast<CallingSource*>(source)->call;
  call();
  return G_SOURCE_CONTINUE;
}

}  // namespace

struct PortalWorker::Source {
  GSource base;
  PortalWorker* worker;

  static PortalWorker* of(GSource* source) { return reinterpret_cast<Source*>(source)->worker; }
};

PortalWorker::PortalWorker(const char* threadName) : context_(g_main_context_new()) {
  try {
    thread_ = startThread(threadName, [this] { run(); });
  } catch (...) {
    g_main_context_unref(context_);
    throw;
  }
}

PortalWorker::~PortalWorker() {
  stop();
  g_main_context_unref(context_);
}

bool PortalWorker::post(Work work) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    work_.push_back(std::move(work));
  }
  g_main_context_wakeup(context_);
  return true;
}

void PortalWorker::stop(Work last) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
    work_.push_back([this, last = std::move(last)] {
      if (last) last();
      ended_ = true;
    });
  }
  g_main_context_wakeup(context_);
  thread_.join();
}

void PortalWorker::runUntil(const std::function<bool()>& done, Seconds limit) {
  bool expired = false;
  PortalTimer timer([&expired] { expired = true; });
  timer.start(limit);
  while (!expired && !done()) g_main_context_iteration(context_, TRUE);
}

void PortalWorker::run() {
  g_main_context_push_thread_default(context_);
  static GSourceFuncs functions = {
      [](GSource* source, gint* timeout) -> gboolean {
        *timeout = -1;
        return Source::of(source)->hasWork();
      },
      [](GSource* source) -> gboolean { return Source::of(source)->hasWork(); },
      [](GSource* source, GSourceFunc, gpointer) -> gboolean {
        Source::of(source)->runWork();
        return G_SOURCE_CONTINUE;
      },
      nullptr,
      nullptr,
      nullptr};
  GSource* source = g_source_new(&functions, sizeof(Source));
  reinterpret_cast<Source*>(source)->worker = this;
  g_source_attach(source, context_);
  while (!ended_) g_main_context_iteration(context_, TRUE);
  g_source_destroy(source);
  g_source_unref(source);
  g_main_context_pop_thread_default(context_);
}

bool PortalWorker::hasWork() {
  std::lock_guard lock(mutex_);
  return !work_.empty();
}

void PortalWorker::runWork() {
  std::deque<Work> work;
  {
    std::lock_guard lock(mutex_);
    work.swap(work_);
  }
  for (auto& item : work) {
    item();
    item = nullptr;
  }
}

PortalTimer::PortalTimer(std::function<void()> callback) : callback_(std::move(callback)) {
  static GSourceFuncs functions = {nullptr, nullptr, dispatchCall, nullptr, nullptr, nullptr};
  source_ = g_source_new(&functions, sizeof(CallingSource));
  reinterpret_cast<CallingSource*>(source_)->call = &callback_;
  g_source_set_ready_time(source_, -1);
  g_source_attach(source_, g_main_context_get_thread_default());
}

PortalTimer::~PortalTimer() {
  g_source_destroy(source_);
  g_source_unref(source_);
}

void PortalTimer::start(Seconds delay) {
  // A day bounds what the arithmetic below has to hold.
  const double seconds = std::clamp(delay.count(), 0.0, 86400.0);
  g_source_set_ready_time(source_, g_get_monotonic_time() + std::llround(seconds * 1e6));
}

void PortalTimer::stop() { g_source_set_ready_time(source_, -1); }

}  // namespace ks::portal
