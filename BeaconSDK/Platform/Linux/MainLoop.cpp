#include "BeaconSDK/Platform/Linux/MainLoop.h"

#include <glib-unix.h>
#include <glib.h>

#include <cmath>
#include <utility>
#include <vector>

namespace ks {

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

void MainLoop::quit() {
  impl_->ended = true;
  g_main_loop_quit(impl_->loop);
}

void MainLoop::onSignal(int number, std::function<void()> handler) {
  using Handler = std::function<void()>;
  const auto call = [](gpointer data) -> gboolean {
    // The handler may end the loop, not the loop object.
    (*static_cast<Handler*>(data))();
    return G_SOURCE_CONTINUE;
  };
  impl_->sources.push_back(
      g_unix_signal_add_full(G_PRIORITY_HIGH, number, call, new Handler(std::move(handler)),
                             [](gpointer data) { delete static_cast<Handler*>(data); }));
}

}  // namespace ks
