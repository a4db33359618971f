#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/DocumentStore.h"
#include "BeaconSDK/Platform/Http/HttpEnvironment.h"

namespace ks {

class HttpSession;

/// A session's view of one transfer. Any thread.
class HttpTask final : public NSURLSessionTask, public std::enable_shared_from_this<HttpTask> {
 public:
  HttpTask(std::weak_ptr<HttpSession> session, Kind kind, NSURLRequest request,
           std::optional<std::filesystem::path> uploadFile);

  Kind kind() const override { return kind_; }
  const NSURLRequest& originalRequest() const override { return request_; }
  std::optional<NSHTTPURLResponse> response() const override;
  const std::string& taskDescription() const override { return description_; }
  void setTaskDescription(std::string text) override { description_ = std::move(text); }
  void resume() override;
  void cancel() override;

  const std::optional<std::filesystem::path>& uploadFile() const { return uploadFile_; }
  void setResponse(std::optional<NSHTTPURLResponse> response);

 private:
  void start();

  const std::weak_ptr<HttpSession> session_;
  const Kind kind_;
  const NSURLRequest request_;
  const std::optional<std::filesystem::path> uploadFile_;
  std::string description_;
  mutable std::mutex mutex_;
  std::optional<NSHTTPURLResponse> response_;
  bool isStarted_ = false;
  bool isCancelled_ = false;
  /// 0 until the session has taken the task.
  std::uint64_t id_ = 0;
};

/// The session that applications hold. Its worker's side, the client, is used and destroyed on the
/// worker's thread.
class HttpSession final : public NSURLSession, public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(std::shared_ptr<HttpEnvironment> environment, NSURLSessionConfiguration configuration,
              std::weak_ptr<NSURLSessionDelegate> delegate, std::shared_ptr<DispatchQueue> queue);
  /// Cancels without events.
  ~HttpSession() override;

  const NSURLSessionConfiguration& configuration() const override { return configuration_; }
  std::shared_ptr<NSURLSessionTask> downloadTaskWithRequest(NSURLRequest request) override;
  std::shared_ptr<NSURLSessionTask> uploadTaskWithRequest(NSURLRequest request,
                                                          std::filesystem::path file) override;
  void invalidateAndCancel() override;

  /// Starts `task`, or with `cancelled` has it reported without being sent. Returns the transfer's
  /// identifier, 0 when the session is invalid.
  std::uint64_t start(const std::shared_ptr<HttpTask>& task, bool cancelled);
  void cancel(std::uint64_t id);

 private:
  struct Report;
  HttpJob jobFor(const HttpTask& task, std::uint64_t id) const;
  void deliver(Report& report);
  void deliverFile(NSURLSessionDelegate& delegate, Report& report);
  /// Keeps the document of a reply, confirms it or drops it.
  void updateStore(const HttpTask& task, const HttpOutcome& outcome,
                   const NSHTTPURLResponse& response, bool isUsable);
  /// The request with the session's fields; nothing when it must not be sent.
  std::optional<NSURLRequest> outgoingRequest(const HttpTask& task) const;

  const std::shared_ptr<HttpEnvironment> environment_;
  const NSURLSessionConfiguration configuration_;
  const std::weak_ptr<NSURLSessionDelegate> delegate_;
  std::shared_ptr<DispatchQueue> queue_;
  const std::uint64_t clientId_;
  /// Null without a disk cache.
  const std::unique_ptr<DocumentStore> store_;

  std::mutex mutex_;
  bool isInvalid_ = false;
  /// Started transfers whose events have not been delivered.
  std::size_t outstanding_ = 0;
};

}  // namespace ks
