#pragma once

#include <libsoup/soup.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/GLibOwned.h"
#include "BeaconSDK/Platform/Http/HttpWorker.h"
#include "BeaconSDK/Platform/Http/TemporaryFile.h"

namespace ks {

/// What a transfer is to do.
struct HttpJob {
  std::uint64_t id = 0;
  NSURLRequest request;
  HTTPHeaders additionalHeaders;
  /// Sent as the body in place of the request's own.
  std::optional<std::filesystem::path> uploadFile;
  /// Where the body is to lie; without it the body is kept in memory.
  std::optional<std::filesystem::path> downloadFolder;
  /// The body is counted and dropped.
  bool discardsBody = false;
  Seconds requestTimeout{60};
  Seconds resourceTimeout{60};
  std::uint64_t maximumBodySize = 0;
};

/// What came of it.
struct HttpOutcome {
  std::optional<NSHTTPURLResponse> response;
  std::optional<Error> error;
  std::optional<TemporaryFile> file;
  Data data;
  std::uint64_t bytesReceived = 0;
  std::uint64_t bytesSent = 0;
  bool fromCache = false;
};

/// One transfer on the worker's thread, redirects included.
///
/// The completion is called exactly once: when the body is whole and the cache has stored what it
/// wants of it, or at the first error, time-out or cancellation. Operations that libsoup still has
/// under way keep the object until they end.
class HttpTransfer : public std::enable_shared_from_this<HttpTransfer> {
 public:
  using Completion = std::function<void(HttpOutcome)>;

  /// `alive` is released with the transfer, which tells its owner when the last operation ended.
  HttpTransfer(SoupSession* session, HttpJob job, Completion completion,
               std::shared_ptr<const int> alive);
  ~HttpTransfer();

  const HttpJob& job() const { return job_; }
  /// The resource time-out counts from here on; the transfer may end before it starts.
  void await();
  void start();
  /// Ends with `NSURLError::cancelled` before the call returns; does nothing when ended.
  void cancel();

 private:
  struct Callbacks;
  friend struct Callbacks;

  void send();
  bool attachBody(SoupMessage* message);
  void didReceiveHeaders(GObjectOwned<GInputStream> stream);
  bool followRedirect(int status);
  void readChunk();
  void didReadChunk(gssize count);
  bool isCutShort() const;
  void settleWhenStored();
  void settle();
  void progress();
  void forgetMessage();
  void fail(Error error);
  void fail(NSURLError code, std::string description);
  void finish();

  GObjectOwned<SoupSession> session_;
  HttpJob job_;
  Completion completion_;
  std::shared_ptr<const int> alive_;
  HttpOutcome outcome_;

  NSURLRequest current_;
  bool sendsBody_ = true;
  int redirects_ = 0;
  GObjectOwned<SoupMessage> message_;
  GObjectOwned<GInputStream> body_;
  GObjectOwned<GCancellable> cancellable_;
  bool wroteRequest_ = false;
  bool storing_ = false;
  bool bodyEnded_ = false;
  HttpTimer silence_;
  HttpTimer resource_;
  std::array<char, 65536> chunk_;
};

}  // namespace ks
