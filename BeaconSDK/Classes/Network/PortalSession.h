#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "BeaconSDK/Classes/Network/PortalReplies.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks {

class Platform;

/// The portal client's background URL session: starts transfers, keeps the body files of uploads,
/// and passes each finished download to a `ks::PortalReplies`.
///
/// Operations may be called from any thread; the delegate's run on the session's serial queue.
class PortalSession : public NSURLSessionDelegate {
 public:
  /// Opens a session of `platform` with `configuration`. `replies` lives as long as the session.
  static std::shared_ptr<PortalSession> open(Platform& platform,
                                             NSURLSessionConfiguration configuration,
                                             std::shared_ptr<PortalReplies> replies);

  /// Invalidation reports nothing for running tasks, so their upload files are removed here.
  ~PortalSession() override;

  /// The reply's status; absent when the transfer failed.
  using UploadCompletion = std::function<void(std::optional<int> status)>;

  /// See the operations of the same names of `KSNetwork`.
  void download(NSURLRequest request);
  void upload(NSURLRequest request, UploadCompletion completion);
  void reset();
  bool isReset() const { return isReset_; }
  void setSendsIdentifiers(bool sends) { sendsIdentifiers_ = sends; }
  std::function<void()> backgroundSessionCompletionHandler() const;
  void setBackgroundSessionCompletionHandler(std::function<void()> handler);

  void didFinishDownloadingToURL(NSURLSession& session, NSURLSessionTask& downloadTask,
                                 const std::filesystem::path& file) override;
  /// Documents that cannot be parsed stay out of the cache: the next request fetches them again.
  bool willCacheResponse(NSURLSession& session, NSURLSessionTask& downloadTask) override;
  void didCompleteWithError(NSURLSession& session, NSURLSessionTask& task,
                            const std::optional<Error>& error) override;
  void didBecomeInvalidWithError(NSURLSession& session, const std::optional<Error>& error) override;
  void didFinishEventsForBackgroundURLSession(NSURLSession& session) override;

 private:
  struct Key {};

 public:
  /// For `open` alone.
  PortalSession(Key, const Clock& clock, DispatchQueue& mainQueue,
                std::shared_ptr<PortalReplies> replies);

 private:
  void finishUpload(NSURLSessionTask& task, std::optional<Error> error);

  const Clock& clock_;
  DispatchQueue& mainQueue_;
  const std::shared_ptr<PortalReplies> replies_;
  /// Whether the document that arrived last could be parsed. Used on the delegate queue.
  bool documentIsParsed_ = false;
  std::shared_ptr<NSURLSession> urlSession_;
  std::atomic<bool> isReset_{false};
  std::atomic<bool> sendsIdentifiers_{true};
  mutable std::mutex handlerMutex_;
  std::function<void()> backgroundSessionCompletionHandler_;
  std::mutex uploadsMutex_;
  /// The body files of the running uploads, with the completion of each.
  std::map<std::filesystem::path, UploadCompletion> uploads_;
};

}  // namespace ks
