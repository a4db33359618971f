#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks::test {

/// URL sessions whose transfers wait for the test's answer.
///
/// `answer` and `fail` end the oldest waiting transfer whose URL contains a text; when there is
/// none, the test fails. Events are posted to the delegate queue, to be run by the test; without
/// one they are delivered inside the call. One thread.
class FakeURLLoadingSystem : public URLLoadingSystem {
 public:
  class Session;

  class Transfer : public NSURLSessionTask {
   public:
    Transfer(std::weak_ptr<Session> session, Kind kind, NSURLRequest request)
        : session_(std::move(session)), kind_(kind), request_(std::move(request)) {}
    Kind kind() const override { return kind_; }
    const NSURLRequest& originalRequest() const override { return request_; }
    std::optional<NSHTTPURLResponse> response() const override { return response_; }
    const std::string& taskDescription() const override { return description_; }
    void setTaskDescription(std::string text) override { description_ = std::move(text); }
    void resume() override { isWaiting = true; }
    void cancel() override { isWaiting = false; }

    std::weak_ptr<Session> session_;
    Kind kind_;
    NSURLRequest request_;
    std::optional<NSHTTPURLResponse> response_;
    std::string description_;
    /// What an upload sends.
    std::string body;
    bool isWaiting = false;
  };

  class Session : public NSURLSession, public std::enable_shared_from_this<Session> {
   public:
    Session(FakeURLLoadingSystem& system, NSURLSessionConfiguration configuration,
            std::weak_ptr<NSURLSessionDelegate> delegate)
        : system_(system), configuration_(std::move(configuration)), delegate_(delegate) {}
    const NSURLSessionConfiguration& configuration() const override { return configuration_; }
    std::shared_ptr<NSURLSessionTask> downloadTaskWithRequest(NSURLRequest request) override {
      return add(NSURLSessionTask::Kind::download, std::move(request));
    }
    std::shared_ptr<NSURLSessionTask> uploadTaskWithRequest(NSURLRequest request,
                                                            std::filesystem::path file) override {
      ++system_.uploads;
      auto transfer = add(NSURLSessionTask::Kind::upload, std::move(request));
      std::ifstream content(file, std::ios::binary);
      transfer->body.assign(std::istreambuf_iterator<char>(content), {});
      return transfer;
    }
    void invalidateAndCancel() override {
      isInvalid = true;
      system_.cancelAllOf(*this);
    }

    FakeURLLoadingSystem& system_;
    NSURLSessionConfiguration configuration_;
    std::weak_ptr<NSURLSessionDelegate> delegate_;
    bool isInvalid = false;

   private:
    std::shared_ptr<Transfer> add(NSURLSessionTask::Kind kind, NSURLRequest request) {
      auto transfer = std::make_shared<Transfer>(weak_from_this(), kind, std::move(request));
      if (!isInvalid) system_.transfers_.push_back(transfer);
      return transfer;
    }
  };

  void setDelegateQueue(std::shared_ptr<DispatchQueue> queue) { queue_ = std::move(queue); }

  std::shared_ptr<NSURLSession> makeSession(NSURLSessionConfiguration configuration,
                                            std::weak_ptr<NSURLSessionDelegate> delegate) override {
    auto session = std::make_shared<Session>(*this, std::move(configuration), std::move(delegate));
    session_ = session;
    return session;
  }
  std::optional<Data> dataWithContentsOfURL(const NSURL& url, const DataLimits& limits) override {
    if (onFetch) onFetch(limits);
    const auto found = resources.find(url.absoluteString);
    return found == resources.end() ? std::nullopt : std::optional(found->second);
  }
  /// What `dataWithContentsOfURL` answers, by URL.
  std::map<std::string, Data> resources;
  /// Called with the limits of each such fetch while it is under way.
  std::function<void(const DataLimits&)> onFetch;

  /// How many uploads were made.
  std::size_t uploads = 0;

  /// The session made last, while it lives.
  std::shared_ptr<Session> session() const { return session_.lock(); }
  /// The URLs of the waiting transfers, the oldest first.
  std::vector<std::string> waitingURLs() const {
    std::vector<std::string> urls;
    for (const auto& transfer : transfers_) {
      if (transfer->isWaiting) urls.push_back(transfer->request_.url.absoluteString);
    }
    return urls;
  }
  bool isWaitingFor(std::string_view urlPart) const { return find(urlPart) != nullptr; }
  /// The oldest waiting transfer to such a URL.
  std::shared_ptr<Transfer> transfer(std::string_view urlPart) const {
    auto found = find(urlPart);
    if (!found) ADD_FAILURE() << "no request to " << urlPart << " is waiting";
    return found;
  }

  void answer(std::string_view urlPart, int status, std::string body = {}) {
    end(transfer(urlPart), status, std::move(body), std::nullopt);
  }
  void answer(std::string_view urlPart, std::string body) { answer(urlPart, 200, std::move(body)); }
  void fail(std::string_view urlPart, NSURLError code) {
    end(transfer(urlPart), std::nullopt, {}, error(code));
  }
  /// Tells the delegate that no transfer is under way any more.
  void finishBackgroundEvents() {
    post(
        [session = session()](NSURLSessionDelegate& delegate) {
          delegate.didFinishEventsForBackgroundURLSession(*session);
        },
        session());
  }

 private:
  using Event = std::function<void(NSURLSessionDelegate&)>;

  static Error error(NSURLError code) {
    return {NSURLErrorDomain, static_cast<std::int64_t>(code), "the transfer failed"};
  }

  std::shared_ptr<Transfer> find(std::string_view urlPart) const {
    const auto found = std::find_if(transfers_.begin(), transfers_.end(), [&](const auto& one) {
      return one->isWaiting && one->request_.url.absoluteString.find(urlPart) != std::string::npos;
    });
    return found == transfers_.end() ? nullptr : *found;
  }

  void end(const std::shared_ptr<Transfer>& transfer, std::optional<int> status, std::string body,
           std::optional<Error> error) {
    if (!transfer) return;
    std::erase(transfers_, transfer);
    transfer->isWaiting = false;
    const auto session = transfer->session_.lock();
    if (status) transfer->response_ = NSHTTPURLResponse{transfer->request_.url, *status, {}};
    post(
        [session, transfer, body = std::move(body), error](NSURLSessionDelegate& delegate) {
          if (transfer->response_ && transfer->kind_ == NSURLSessionTask::Kind::download) {
            const TemporaryFolder folder;
            const auto file = writeText(folder / "download", body);
            delegate.didFinishDownloadingToURL(*session, *transfer, file);
          }
          delegate.didCompleteWithError(*session, *transfer, error);
        },
        session);
  }
  void cancelAllOf(Session& session) {
    for (const auto& transfer : std::vector(transfers_)) {
      if (transfer->isWaiting && transfer->session_.lock().get() == &session) {
        end(transfer, std::nullopt, {}, error(NSURLError::cancelled));
      }
    }
  }
  void post(Event event, const std::shared_ptr<Session>& session) {
    if (!session) return;
    auto task = [event = std::move(event), weak = session->delegate_] {
      if (const auto delegate = weak.lock()) event(*delegate);
    };
    queue_ ? queue_->async(std::move(task)) : task();
  }

  std::shared_ptr<DispatchQueue> queue_;
  std::weak_ptr<Session> session_;
  std::vector<std::shared_ptr<Transfer>> transfers_;
};

}  // namespace ks::test
