#pragma once

#include <functional>
#include <memory>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks {

/// The loop of a program that has none of its own: it runs the default main context, and with it
/// the main queue of a `LinuxPlatform`. Main thread only.
class MainLoop {
 public:
  MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;
  ~MainLoop();

  /// Until `quit`; at once when that was called before.
  void run();
  /// Until `quit`, or for `span`.
  void runFor(Seconds span);
  void quit();
  /// Runs one turn of the default main context without a loop of its own, having waited at most
  /// `timeout`; a negative one waits for as long as it takes. False when nothing was due.
  static bool runOnce(Seconds timeout);
  /// Calls `handler` from the loop each time the signal comes: SIGHUP, SIGINT, SIGTERM, SIGUSR1,
  /// SIGUSR2 or SIGWINCH. As long as the loop object lives the signal has no other effect.
  void onSignal(int number, std::function<void()> handler);
  /// The same for SIGTERM and SIGINT, which ask the program to end. If it has not ended `limit`
  /// after the first of them, because something keeps the main thread waiting, the process ends as
  /// it is, with exit code 1. One loop of a process.
  void onStop(Seconds limit, std::function<void()> handler);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ks
