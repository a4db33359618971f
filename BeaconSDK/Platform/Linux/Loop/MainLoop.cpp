#include "BeaconSDK/Platform/Linux/Loop/MainLoop.h"

#include <glib-unix.h>
#include <glib.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/time.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

namespace ks {

namespace {

constexpr long kMicroseconds = 1000000;

/// What the signal handlers reach.
int stopEvent = -1;
itimerval stopLimit = {};

void stopRequested(int) {
  setitimer(ITIMER_REAL, &stopLimit, nullptr);
  const std::uint64_t one = 1;
  if (write(stopEvent, &one, sizeof one) < 0) _exit(EXIT_FAILURE);
}

void limitPassed(int) { _exit(EXIT_FAILURE); }

void handle(int number, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(number, &action, nullptr);
}

gboolean call(gpointer handler) {
  (*static_cast<std::function<void()>*>(handler))();
  return G_SOURCE_CONTINUE;
}

void destroy(gpointer handler) { delete static_cast<std::function<void()>*>(handler); }

}  // namespace

struct MainLoop::Impl {
  Impl() : loop(g_main_loop_new(nullptr, FALSE)) {}
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() {
    for (const guint source : sources) g_source_remove(source);
    g_main_loop_unref(loop);
  }

  GMainLoop* loop;
  bool ended = false;
  std::vector<guint> sources;
};

MainLoop::MainLoop() : impl_(std::make_unique<Impl>()) {}

MainLoop::~MainLoop() = default;

void MainLoop::run() {
  if (!impl_->ended) g_main_loop_run(impl_->loop);
}

void MainLoop::runFor(Seconds span) {
  constexpr double kMilliseconds = 1000;
  const auto end = [](gpointer loop) -> gboolean {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
  };
  const guint timer =
      g_timeout_add(static_cast<guint>(std::ceil(span.count() * kMilliseconds)), end, impl_->loop);
  run();
  g_source_remove(timer);
}

bool MainLoop::runOnce(Seconds timeout) {
  bool isOver = false;
  guint timer = 0;
  if (timeout > Seconds{0}) {
    const auto end = [](gpointer over) -> gboolean {
      *static_cast<bool*>(over) = true;
      return G_SOURCE_REMOVE;
    };
    timer = g_timeout_add(static_cast<guint>(std::ceil(timeout.count() * 1000)), end, &isOver);
  }
  const bool ran = g_main_context_iteration(nullptr, timeout != Seconds{0}) != FALSE;
  if (timer != 0 && !isOver) g_source_remove(timer);
  return ran && !isOver;
}

void MainLoop::quit() {
  impl_->ended = true;
  g_main_loop_quit(impl_->loop);
}

void MainLoop::onSignal(int number, std::function<void()> handler) {
  impl_->sources.push_back(g_unix_signal_add_full(
      G_PRIORITY_HIGH, number, call, new std::function<void()>(std::move(handler)), destroy));
}

void MainLoop::onStop(Seconds limit, std::function<void()> handler) {
  const auto microseconds = static_cast<long>(limit.count() * kMicroseconds);
  stopLimit.it_value = {microseconds / kMicroseconds, microseconds % kMicroseconds};
  stopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const auto arrived = [](gint event, GIOCondition, gpointer data) -> gboolean {
    std::uint64_t count = 0;
    if (read(event, &count, sizeof count) > 0) call(data);
    return G_SOURCE_CONTINUE;
  };
  impl_->sources.push_back(g_unix_fd_add_full(G_PRIORITY_HIGH, stopEvent, G_IO_IN, arrived,
                                              new std::function<void()>(std::move(handler)),
                                              destroy));
  handle(SIGALRM, limitPassed);
  handle(SIGTERM, stopRequested);
  handle(SIGINT, stopRequested);
}

}  // namespace ks
