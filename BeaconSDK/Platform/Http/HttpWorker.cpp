#include "BeaconSDK/Platform/Http/HttpWorker.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ks {

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

struct HttpWorker::Source {
  GSource base;
  HttpWorker* worker;

  static HttpWorker* of(GSource* source) { return reinterpret_cast<Source*>(source)->worker; }
};

HttpWorker::HttpWorker(const char* threadName) : context_(g_main_context_new()) {
  thread_ = std::thread([this, threadName] { run(threadName); });
}

HttpWorker::~HttpWorker() {
  stop();
  g_main_context_unref(context_);
}

bool HttpWorker::post(Work work) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    work_.push_back(std::move(work));
  }
  g_main_context_wakeup(context_);
  return true;
}

void HttpWorker::stop(Work last) {
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

void HttpWorker::runUntil(const std::function<bool()>& done, Seconds limit) {
  bool expired = false;
  HttpTimer timer([&expired] { expired = true; });
  timer.start(limit);
  while (!expired && !done()) g_main_context_iteration(context_, TRUE);
}

void HttpWorker::run(const char* threadName) {
  pthread_setname_np(pthread_self(), threadName);
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

bool HttpWorker::hasWork() {
  std::lock_guard lock(mutex_);
  return !work_.empty();
}

void HttpWorker::runWork() {
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

HttpTimer::HttpTimer(std::function<void()> callback) : callback_(std::move(callback)) {
  static GSourceFuncs functions = {nullptr, nullptr, dispatchCall, nullptr, nullptr, nullptr};
  source_ = g_source_new(&functions, sizeof(CallingSource));
  reinterpret_cast<CallingSource*>(source_)->call = &callback_;
  g_source_set_ready_time(source_, -1);
  g_source_attach(source_, g_main_context_get_thread_default());
}

HttpTimer::~HttpTimer() {
  g_source_destroy(source_);
  g_source_unref(source_);
}

void HttpTimer::start(Seconds delay) {
  // A day bounds what the arithmetic below has to hold.
  const double seconds = std::clamp(delay.count(), 0.0, 86400.0);
  g_source_set_ready_time(source_, g_get_monotonic_time() + std::llround(seconds * 1e6));
}

void HttpTimer::stop() { g_source_set_ready_time(source_, -1); }

}  // namespace ks
