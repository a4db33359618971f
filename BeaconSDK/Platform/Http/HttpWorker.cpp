#include "BeaconSDK/Platform/Http/HttpWorker.h"

#include <algorithm>
#include <csignal>
#include <new>

#include "BeaconSDK/Platform/Common/NamedThread.h"

namespace ks {

namespace {

/// Idle connections that are kept for later transfers; a device talks to few hosts.
constexpr long kIdleConnections = 16;
/// Bounds a wait; libcurl, posted work and timers all end it earlier.
constexpr std::chrono::milliseconds kLongestWait{60'000};
/// The same where the system had no descriptors left for libcurl's wake-up: posted work waits for
/// the end of the wait then.
constexpr std::chrono::milliseconds kLongestDeafWait{20};

void initializeLibrary() {
  static const CURLcode once = curl_global_init(CURL_GLOBAL_DEFAULT);
  static_cast<void>(once);
}

}  // namespace

std::shared_ptr<HttpWorker> HttpWorker::start(const char* threadName) {
  initializeLibrary();
  std::shared_ptr<HttpWorker> worker(new HttpWorker);
  worker->thread_ = startThread(threadName, [worker] { worker->run(); });
  return worker;
}

HttpWorker::HttpWorker() : multi_(curl_multi_init()) {
  if (!multi_) throw std::bad_alloc();
  longestWait_ = curl_multi_wakeup(multi_.get()) == CURLM_OK ? kLongestWait : kLongestDeafWait;
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, kIdleConnections);
}

HttpWorker::~HttpWorker() {
  if (thread_.joinable()) thread_.detach();
}

bool HttpWorker::post(Work work) {
  {
    const std::lock_guard lock(mutex_);
    if (isStopping_) return false;
    work_.push_back(std::move(work));
  }
  curl_multi_wakeup(multi_.get());
  return true;
}

void HttpWorker::stop(Work last, Seconds limit) {
  std::unique_lock lock(mutex_);
  if (isStopping_) return;
  isStopping_ = true;
  work_.push_back([this, last = std::move(last)] {
    if (last) last();
    isLast_ = true;
  });
  curl_multi_wakeup(multi_.get());
  const bool inTime = ended_.wait_for(lock, limit, [this] { return hasEnded_; });
  lock.unlock();
  if (inTime) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

void HttpWorker::add(CURL* handle, Ending ended) {
  running_[handle] = std::move(ended);
  curl_multi_add_handle(multi_.get(), handle);
}

void HttpWorker::remove(CURL* handle) {
  if (running_.erase(handle) > 0) curl_multi_remove_handle(multi_.get(), handle);
}

void HttpWorker::run() {
  // A peer that goes away while TLS writes must not end the process.
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  while (!isLast_) {
    runWork();
    runTimers();
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    reportEnded();
    if (!isLast_) wait();
  }
  const std::lock_guard lock(mutex_);
  hasEnded_ = true;
  ended_.notify_all();
}

void HttpWorker::runWork() {
  std::deque<Work> work;
  {
    const std::lock_guard lock(mutex_);
    work.swap(work_);
  }
  for (auto& item : work) {
    item();
    item = nullptr;
  }
}

void HttpWorker::runTimers() {
  const auto now = std::chrono::steady_clock::now();
  while (!timers_.empty() && timers_.begin()->first <= now) {
    HttpTimer* const timer = timers_.begin()->second;
    timers_.erase(timers_.begin());
    // A copy: the callback may destroy its timer.
    const auto callback = timer->callback_;
    callback();
  }
}

void HttpWorker::reportEnded() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    // The message goes with the removal of its handle.
    CURL* const handle = message->easy_handle;
    const CURLcode result = message->data.result;
    const auto node = running_.extract(handle);
    curl_multi_remove_handle(multi_.get(), handle);
    if (!node.empty()) node.mapped()(result);
  }
}

void HttpWorker::wait() {
  using std::chrono::milliseconds;
  milliseconds limit = longestWait_;
  if (!timers_.empty()) {
    const auto left = timers_.begin()->first - std::chrono::steady_clock::now();
    limit = std::clamp(std::chrono::ceil<milliseconds>(left), milliseconds{0}, longestWait_);
  }
  curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(limit.count()), nullptr);
}

void HttpTimer::start(Seconds delay) {
  stop();
  // A day bounds what the arithmetic below has to hold.
  const Seconds span = std::clamp(delay, Seconds{0}, Seconds{86400});
  due_ = std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(span);
  worker_.timers_.emplace(due_, this);
}

void HttpTimer::stop() { worker_.timers_.erase({due_, this}); }

}  // namespace ks
