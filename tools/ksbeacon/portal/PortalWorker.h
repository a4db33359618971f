#pragma once

#include <glib.h>

#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks::portal {

/// A thread with a main context of its own, which is the thread's default context.
///
/// Work is handed over through a queue under a mutex and a wake-up of the context, never through
/// idle sources: so every hand-over is visible to ThreadSanitizer.
class PortalWorker {
 public:
  using Work = std::function<void()>;

  /// Throws `std::system_error`, naming the thread, if there is none to be had.
  explicit PortalWorker(const char* threadName);
  /// Stops.
  ~PortalWorker();
  PortalWorker(const PortalWorker&) = delete;
  PortalWorker& operator=(const PortalWorker&) = delete;

  /// Runs `work` on the thread, in the order of posting. Once the worker is stopping the answer is
  /// false and `work` is destroyed without running. Any thread.
  bool post(Work work);
  /// Runs what was posted before, then `last`, and waits for the thread to end. Not on the worker's
  /// own thread; does nothing the second time.
  void stop(Work last = {});

  /// For use by `last`: runs the context until `done` answers true, `limit` at most.
  void runUntil(const std::function<bool()>& done, Seconds limit);

 private:
  struct Source;
  void run();
  bool hasWork();
  void runWork();

  GMainContext* context_;
  std::mutex mutex_;
  std::deque<Work> work_;
  bool stopping_ = false;
  /// Of the worker's thread only.
  bool ended_ = false;
  std::thread thread_;
};

/// Calls back once on the worker's thread, on which alone it may be used. Never after it was
/// stopped or destroyed; it may be started again from its callback.
class PortalTimer {
 public:
  explicit PortalTimer(std::function<void()> callback);
  ~PortalTimer();
  PortalTimer(const PortalTimer&) = delete;
  PortalTimer& operator=(const PortalTimer&) = delete;

  /// Starts, or starts anew.
  void start(Seconds delay);
  void stop();

 private:
  std::function<void()> callback_;
  GSource* source_;
};

}  // namespace ks::portal
