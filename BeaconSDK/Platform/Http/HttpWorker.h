#pragma once

#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Http/CurlOwned.h"

namespace ks {

class HttpTimer;

/// The thread that runs all transfers: one libcurl multi handle, posted work and timers.
///
/// Connections live in the multi handle and are reused by later transfers, of any session, to the
/// same host. The thread keeps the worker alive until it has ended.
class HttpWorker : public std::enable_shared_from_this<HttpWorker> {
 public:
  using Work = std::function<void()>;
  using Ending = std::function<void(CURLcode)>;

  /// Starts the thread; `threadName` has at most 15 characters. `stop` must be called. Throws
  /// `std::system_error`, naming the thread, if there is none to be had.
  static std::shared_ptr<HttpWorker> start(const char* threadName);
  ~HttpWorker();
  HttpWorker(const HttpWorker&) = delete;
  HttpWorker& operator=(const HttpWorker&) = delete;

  /// Runs `work` on the thread, in posting order. Once the worker is stopping, returns false and
  /// destroys `work` without running it. Any thread.
  bool post(Work work);
  /// Runs what was posted before, then `last`, and waits until the thread has ended, at most
  /// `limit`; a thread that hangs, as in a call to a dead file system, is left behind. Not on the
  /// worker's own thread; a second call does nothing.
  void stop(Work last, Seconds limit);

  /// Starts the transfer that `handle` describes. `ended` is called once with libcurl's result,
  /// unless `remove` comes first. Worker's thread only.
  void add(CURL* handle, Ending ended);
  /// Ends a transfer without calling its `ended`; unknown handles are ignored. Worker's thread
  /// only, not inside a callback of libcurl.
  void remove(CURL* handle);

 private:
  friend class HttpTimer;
  using TimePoint = std::chrono::steady_clock::time_point;

  HttpWorker();
  void run();
  void runWork();
  void runTimers();
  void reportEnded();
  /// Waits for traffic, work or the next timer.
  void wait();

  const CurlMulti multi_;
  std::chrono::milliseconds longestWait_;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::deque<Work> work_;
  bool isStopping_ = false;
  bool hasEnded_ = false;
  std::thread thread_;
  /// Of the worker's thread only, from here on.
  bool isLast_ = false;
  std::unordered_map<CURL*, Ending> running_;
  std::set<std::pair<TimePoint, HttpTimer*>> timers_;
};

/// Calls back once on the worker's thread, on which alone it may be used. Never after it was
/// stopped or destroyed; it may be started again from its callback.
class HttpTimer {
 public:
  HttpTimer(HttpWorker& worker, std::function<void()> callback)
      : worker_(worker), callback_(std::move(callback)) {}
  ~HttpTimer() { stop(); }
  HttpTimer(const HttpTimer&) = delete;
  HttpTimer& operator=(const HttpTimer&) = delete;

  /// Starts, or starts anew.
  void start(Seconds delay);
  void stop();

 private:
  friend class HttpWorker;
  HttpWorker& worker_;
  const std::function<void()> callback_;
  HttpWorker::TimePoint due_{};
};

}  // namespace ks
