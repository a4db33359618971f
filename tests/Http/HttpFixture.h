#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks::test {

/// A delegate queue that a test runs by hand, on the thread it likes.
class HandQueue final : public DispatchQueue {
 public:
  void async(Task task) override {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    changed_.notify_all();
  }
  void sync(const Task& task) override { task(); }
  TimerId after(Seconds, Task task) override {
    async(std::move(task));
    return 1;
  }
  void cancel(TimerId) override {}
  bool isCurrent() const override { return false; }

  /// Waits for a task and runs it; false when none came in time.
  bool runNext(std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, limit, [this] { return !tasks_.empty(); })) return false;
    const Task task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
};

/// Writes down what happens, one line an event.
class EventLog : public NSURLSessionDelegate, public HttpObserver {
 public:
  std::vector<std::string> events;
  std::vector<HttpExchange> exchanges;
  std::vector<std::string> bodies;
  std::vector<std::filesystem::path> files;
  std::vector<std::filesystem::perms> permissions;
  std::atomic<int> started = 0;
  bool logsTransfers = false;

  void didFinishDownloadingToURL(NSURLSession&, NSURLSessionTask& task,
                                 const std::filesystem::path& file) override {
    files.push_back(file);
    permissions.push_back(std::filesystem::status(file).permissions());
    bodies.push_back(readText(file));
    events.push_back("file " + path(task) + " " + std::to_string(task.response()->statusCode));
  }
  void didCompleteWithError(NSURLSession&, NSURLSessionTask& task,
                            const std::optional<Error>& error) override {
    events.push_back("complete " + path(task) + " " + std::to_string(error ? error->code() : 0));
  }
  void didBecomeInvalidWithError(NSURLSession&, const std::optional<Error>&) override {
    events.push_back("invalid");
  }
  void didFinishEventsForBackgroundURLSession(NSURLSession&) override {
    events.push_back("finished");
  }
  void transferDidStart(std::uint64_t) override { ++started; }
  void transferDidEnd(const HttpExchange& exchange) override {
    exchanges.push_back(exchange);
    if (logsTransfers) events.push_back("end");
  }

 private:
  static std::string path(const NSURLSessionTask& task) {
    const std::string& url = task.originalRequest().url.absoluteString;
    return url.substr(std::min(url.find('/', 8), url.size()));
  }
};

/// A loading system with one session, whose events are run on the test's thread.
class HttpFixture : public testing::Test {
 protected:
  void makeSystem() {
    options.temporaryDirectory = folder / "tmp";
    system = std::make_unique<HttpURLLoadingSystem>(
        options, [this] { return queue; }, log);
  }
  void makeSession() {
    if (!system) makeSystem();
    session = system->makeSession(configuration, log);
  }
  NSURLRequest request(const std::string& url) const {
    NSURLRequest result;
    result.url.absoluteString = url;
    return result;
  }
  std::shared_ptr<NSURLSessionTask> download(const NSURLRequest& request) {
    if (!session) makeSession();
    auto task = session->downloadTaskWithRequest(request);
    task->resume();
    return task;
  }
  /// Downloads and waits for the end.
  const HttpExchange& fetch(const NSURLRequest& request) {
    const auto task = download(request);
    runUntilEnded(log->exchanges.size() + 1);
    return log->exchanges.back();
  }
  void runUntilEnded(std::size_t count) {
    while (log->exchanges.size() < count) ASSERT_TRUE(queue->runNext()) << "nothing happens";
  }

  bool nothingIsLeft() const {
    return !std::filesystem::exists(folder / "tmp") || std::filesystem::is_empty(folder / "tmp");
  }

  TemporaryFolder folder;
  std::shared_ptr<HandQueue> queue = std::make_shared<HandQueue>();
  std::shared_ptr<EventLog> log = std::make_shared<EventLog>();
  HttpOptions options;
  NSURLSessionConfiguration configuration{.identifier = "Test",
                                          .urlCache = {},
                                          .httpAdditionalHeaders = {},
                                          .httpMaximumConnectionsPerHost = 1};
  std::unique_ptr<HttpURLLoadingSystem> system;
  std::shared_ptr<NSURLSession> session;
};

inline std::int64_t codeOf(const HttpExchange& exchange) {
  return exchange.error ? exchange.error->code() : 0;
}

}  // namespace ks::test
