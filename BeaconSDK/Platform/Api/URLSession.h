#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// An absolute URL as text.
struct NSURL {
  std::string absoluteString;
  friend bool operator==(const NSURL&, const NSURL&) = default;
};

/// Header fields in order of first insertion; names compare without case.
class HTTPHeaders {
 public:
  using Field = std::pair<std::string, std::string>;

  /// Replaces an earlier value of the same name.
  void set(std::string_view name, std::string value);
  const std::string* find(std::string_view name) const;
  void remove(std::string_view name);
  std::size_t size() const { return fields_.size(); }
  auto begin() const { return fields_.begin(); }
  auto end() const { return fields_.end(); }

 private:
  std::vector<Field> fields_;
};

struct NSURLRequest {
  NSURL url;
  std::string httpMethod = "GET";
  HTTPHeaders headers;
  Data httpBody;
};

struct NSHTTPURLResponse {
  NSURL url;
  int statusCode = 0;
  HTTPHeaders headers;
};

/// Codes of errors in `NSURLErrorDomain`, the platform's numbers.
enum class NSURLError : std::int64_t {
  unknown = -1,
  cancelled = -999,
  badURL = -1000,
  timedOut = -1001,
  unsupportedURL = -1002,
  cannotFindHost = -1003,
  cannotConnectToHost = -1004,
  networkConnectionLost = -1005,
  badServerResponse = -1011,
  cannotCreateFile = -3000,
  dataLengthExceedsMaximum = -1103,
  secureConnectionFailed = -1200,
  serverCertificateUntrusted = -1202,
};

/// A cache of replies in memory and on disk. An empty directory means none on disk.
struct NSURLCacheConfiguration {
  std::uint64_t memoryCapacity = 0;
  std::uint64_t diskCapacity = 0;
  std::filesystem::path directory;
};

struct NSURLSessionConfiguration {
  /// Identifies a background session: its transfers continue while the application is suspended.
  std::string identifier;
  NSURLCacheConfiguration urlCache;
  /// Sent with each request unless the request sets the field itself.
  HTTPHeaders httpAdditionalHeaders;
  /// Maximum time between two pieces of data.
  Seconds timeoutIntervalForRequest{60};
  /// Maximum time of the whole transfer.
  Seconds timeoutIntervalForResource{7 * 24 * 3600};
  int httpMaximumConnectionsPerHost = 6;
};

/// One transfer. Properties that the delegate reads are final before the delegate is called.
class NSURLSessionTask {
 public:
  enum class Kind { download, upload };

  virtual ~NSURLSessionTask() = default;
  virtual Kind kind() const = 0;
  virtual const NSURLRequest& originalRequest() const = 0;
  /// Absent until a reply arrived.
  virtual std::optional<NSHTTPURLResponse> response() const = 0;
  virtual const std::string& taskDescription() const = 0;
  /// Call before `resume`.
  virtual void setTaskDescription(std::string text) = 0;
  /// Starts the transfer; a second call does nothing.
  virtual void resume() = 0;
  /// Ends the transfer with `NSURLError::cancelled`, unless it has ended.
  virtual void cancel() = 0;
};

class NSURLSession;

/// Receives a session's events on the session's serial delegate queue. Called until the session has
/// become invalid.
class NSURLSessionDelegate {
 public:
  virtual ~NSURLSessionDelegate() = default;
  /// `file` holds the reply's body, whatever its status; it is removed after the call.
  virtual void didFinishDownloadingToURL(NSURLSession& session, NSURLSessionTask& downloadTask,
                                         const std::filesystem::path& file) = 0;
  /// Called right after `didFinishDownloadingToURL`: returns false if the document is unusable and
  /// must not be stored, or kept, in the session's cache.
  virtual bool willCacheResponse(NSURLSession& /*session*/, NSURLSessionTask& /*downloadTask*/) {
    return true;
  }
  /// Called exactly once per task, as its last event; no error means that the whole reply arrived.
  virtual void didCompleteWithError(NSURLSession& session, NSURLSessionTask& task,
                                    const std::optional<Error>& error) = 0;
  /// Called as the last event of the session.
  virtual void didBecomeInvalidWithError(NSURLSession& session,
                                         const std::optional<Error>& error) = 0;
  /// Called when no transfer of a background session is running any more.
  virtual void didFinishEventsForBackgroundURLSession(NSURLSession& session) = 0;
};

/// Transfers over HTTP. Any thread.
///
/// Certificates are verified; a redirect to another origin does not carry the Authorization header;
/// a body above 64 MiB ends the transfer with `dataLengthExceedsMaximum`. Line breaks inside the
/// Authorization value are removed; any other header value with CR, LF or NUL ends the transfer
/// with `badURL`. Such refusals reach the delegate like any failure.
class NSURLSession {
 public:
  virtual ~NSURLSession() = default;
  virtual const NSURLSessionConfiguration& configuration() const = 0;
  virtual std::shared_ptr<NSURLSessionTask> downloadTaskWithRequest(NSURLRequest request) = 0;
  /// Sends the content of `file` as the body; the request's own body is not used.
  virtual std::shared_ptr<NSURLSessionTask> uploadTaskWithRequest(NSURLRequest request,
                                                                  std::filesystem::path file) = 0;
  /// Cancels all running tasks; afterwards new tasks fail with `cancelled` without being reported.
  virtual void invalidateAndCancel() = 0;
};

/// Limits for fetching a single resource.
struct DataLimits {
  /// Maximum bytes of the body: more than the largest picture that a notification shows.
  std::uint64_t size = 64ULL * 1024 * 1024;
  Seconds time{60};
};

/// Creates sessions and fetches single resources. Any thread.
class URLLoadingSystem {
 public:
  virtual ~URLLoadingSystem() = default;
  /// The session holds its delegate weakly and drops events once it is destroyed.
  virtual std::shared_ptr<NSURLSession> makeSession(
      NSURLSessionConfiguration configuration, std::weak_ptr<NSURLSessionDelegate> delegate) = 0;
  /// Fetches a resource and waits for it; returns nothing when that fails, exceeds a limit or the
  /// status is not a success.
  virtual std::optional<Data> dataWithContentsOfURL(const NSURL& url, const DataLimits& limits) = 0;
  std::optional<Data> dataWithContentsOfURL(const NSURL& url) {
    return dataWithContentsOfURL(url, DataLimits{});
  }
  /// Asynchronous variant. Calls `completion` once, on a thread of the system; with nothing if the
  /// loading system is destroyed first.
  virtual void loadData(const NSURL& url, const DataLimits& limits,
                        std::function<void(std::optional<Data>)> completion) {
    completion(dataWithContentsOfURL(url, limits));
  }
};

}  // namespace ks
