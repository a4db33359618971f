#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/HttpObserver.h"
#include "BeaconSDK/Platform/Http/HttpOptions.h"

namespace ks {

/// The URL session over HTTP/1.1, on one worker thread of its own.
///
/// Rules beyond those of the seam:
/// - Requests of one session to one host and port are sent strictly in the order of `resume`,
///   `httpMaximumConnectionsPerHost` at a time, over connections that are reused. The resource
///   timeout runs from `resume`, so that a silent host delays no transfer longer; the request
///   timeout runs from when the request is sent and restarts with each piece of the body and each
///   header line.
/// - All events of one task reach the delegate in one task of the delegate queue: the file, the
///   completion, then the observer, then `didFinishEventsForBackgroundURLSession` if no started
///   transfer is unreported (each time, only for sessions with an identifier).
/// - `invalidateAndCancel` reports running tasks as cancelled, in the order of `resume`, then
///   `didBecomeInvalidWithError` once. A task that was never resumed is not reported.
/// - Releasing the last reference to a session cancels its transfers without events. So does
///   destroying the loading system, for all sessions; remaining sessions then do nothing.
/// - Redirects: at most 16; never from https to http; Authorization, Cookie and Proxy-Authorization
///   are sent only to the first request's origin (scheme, host, port). 303, and 301 or 302 after
///   POST, continue with GET and without the body; 307 and 308 repeat the request.
/// - Host, Content-Length, Transfer-Encoding and Connection are set by the transport: such fields
///   of a request are ignored. A request with a body is sent at most once.
/// - TLS 1.2 or later; certificates are verified, and for pinned hosts their public keys too.
/// - The disk cache is a folder named after the session identifier inside the configured directory,
///   used by one session of one process at a time: a second session uses another folder. A document
///   is looked up when its task is resumed and stored when the delegate has accepted it
///   (`willCacheResponse`), both on the caller's side, so in virtual time every run finds the same
///   documents. Redirected replies are not stored; `memoryCapacity` is ignored.
///
/// Any thread. The delegate queues may be released on the worker thread.
class HttpURLLoadingSystem : public URLLoadingSystem {
 public:
  /// Creates the serial delegate queue of one session. Called inside `makeSession`.
  using QueueFactory = std::function<std::shared_ptr<DispatchQueue>()>;

  /// The observer is held weakly.
  HttpURLLoadingSystem(HttpOptions options, QueueFactory makeDelegateQueue,
                       std::weak_ptr<HttpObserver> observer = {});
  /// Waits at most 5 s for the worker, which drops every transfer.
  ~HttpURLLoadingSystem() override;

  std::shared_ptr<NSURLSession> makeSession(NSURLSessionConfiguration configuration,
                                            std::weak_ptr<NSURLSessionDelegate> delegate) override;
  /// Blocks without running any queue, so it may be called on the main queue.
  using URLLoadingSystem::dataWithContentsOfURL;
  std::optional<Data> dataWithContentsOfURL(const NSURL& url, const DataLimits& limits) override;
  /// Completes on the worker's thread, or immediately when that has ended.
  void loadData(const NSURL& url, const DataLimits& limits,
                std::function<void(std::optional<Data>)> completion) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ks
