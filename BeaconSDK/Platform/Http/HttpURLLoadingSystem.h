#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks {

/// One finished transfer, as an observer sees it.
struct HttpExchange {
  enum class Kind { download, upload, data };

  /// Unique within the process, in the order in which transfers were started.
  std::uint64_t id = 0;
  Kind kind = Kind::download;
  std::string method;
  /// As requested; redirects do not show here.
  NSURL url;
  /// As its request holds it; empty when an upload's file alone has it.
  Data body;
  /// The final reply's status; absent when none arrived.
  std::optional<int> status;
  std::optional<Error> error;
  /// Size of the reply's body as delivered, after decoding.
  std::uint64_t bytesReceived = 0;
  std::uint64_t bytesSent = 0;
  /// The body came from the cache, possibly after the server confirmed it.
  bool fromCache = false;
};

/// Watches every transfer of a loading system. Each started transfer ends exactly once unless the
/// loading system, or the delegate queue with its pending tasks, is destroyed first.
class HttpObserver {
 public:
  virtual ~HttpObserver() = default;
  /// On the thread that starts the transfer, inside `resume`, `cancel` of a task that was never
  /// resumed, or `dataWithContentsOfURL`.
  virtual void transferDidStart(std::uint64_t id) = 0;
  /// On the worker's thread, right before the task with the transfer's events is put on the
  /// delegate queue. Not for `dataWithContentsOfURL`.
  virtual void transferWillReport(std::uint64_t /*id*/) {}
  /// On the session's delegate queue, in the same task of that queue as the delegate's events and
  /// right after the last of them; for `dataWithContentsOfURL` on the waiting thread, before it
  /// returns.
  virtual void transferDidEnd(const HttpExchange& exchange) = 0;
};

struct HttpOptions {
  /// Where downloads lie while they arrive; made when missing. Required.
  std::filesystem::path temporaryDirectory;
  /// PEM certificates trusted besides the system's, for development and tests. Empty: none.
  std::filesystem::path additionalCertificateAuthorities;
  /// A body that is longer, before or after decoding, ends the transfer.
  std::uint64_t maximumBodySize = 64ULL * 1024 * 1024;
  /// Both time-outs of `dataWithContentsOfURL`.
  Seconds dataTimeout{60};
};

/// The URL session over HTTP/1.1 and HTTP/2, on one worker thread of its own.
///
/// Rules beyond those of the seam:
/// - Requests of one session to one host and port are sent strictly in the order of `resume`,
///   `httpMaximumConnectionsPerHost` at a time. The time-out of the resource counts from `resume`,
///   so that a silent host holds no transfer longer; that of the request from when its turn comes.
/// - All events of one task reach the delegate in one task of the delegate queue: the file, the
///   completion, then the observer, then `didFinishEventsForBackgroundURLSession` when no started
///   transfer is left unreported (each time that happens, only for sessions with an identifier).
/// - `invalidateAndCancel` reports what is under way as cancelled, in the order of `resume`, then
///   `didBecomeInvalidWithError` once. A task that was never resumed is not reported.
/// - Dropping the last reference to a session cancels its transfers without events. So does
///   destroying the loading system, for all sessions; what is left of them does nothing.
/// - Redirects: at most 16; never from https to http; Authorization, Cookie and Proxy-Authorization
///   do not leave the first request's origin (scheme, host, port). 303, and 301 or 302 after POST,
///   go on with GET and without the body; 307 and 308 repeat the request.
/// - Host, Content-Length, Transfer-Encoding and Connection are the transport's own: such fields of
///   a request are left out.
/// - The disk cache lies in a folder named after the session identifier inside the configured
///   directory, used by one session of one process at a time: a second session takes a folder of
///   its own. It revalidates by entity tag and survives restarts. How much of it stays in memory is
///   the transport's decision; `memoryCapacity` is not used.
///
/// Any thread. The delegate queues may be released on the worker thread.
class HttpURLLoadingSystem : public URLLoadingSystem {
 public:
  /// Makes the serial delegate queue of one session. Called inside `makeSession`.
  using QueueFactory = std::function<std::shared_ptr<DispatchQueue>()>;

  /// The observer is held weakly.
  HttpURLLoadingSystem(HttpOptions options, QueueFactory makeDelegateQueue,
                       std::weak_ptr<HttpObserver> observer = {});
  /// Waits for the worker, which drops every transfer and writes the caches.
  ~HttpURLLoadingSystem() override;

  std::shared_ptr<NSURLSession> makeSession(NSURLSessionConfiguration configuration,
                                            std::weak_ptr<NSURLSessionDelegate> delegate) override;
  /// Waits without running any queue, so it may be called on the main queue.
  std::optional<Data> dataWithContentsOfURL(const NSURL& url) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ks
