#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/CurlRequest.h"
#include "BeaconSDK/Platform/Http/HttpWorker.h"
#include "BeaconSDK/Platform/Http/StoredDocument.h"
#include "BeaconSDK/Platform/Storage/NewFile.h"

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
  /// Answers the request while it is fresh and is revalidated otherwise. Null for none.
  std::shared_ptr<StoredDocument> stored;
  Seconds requestTimeout{60};
  Seconds resourceTimeout{60};
  std::uint64_t maximumBodySize = 0;
  /// See `CurlRequest::refuseLocalAddresses`; for plain HTTP alone.
  bool refusesLocalAddresses = false;
};

/// What came of it.
struct HttpOutcome {
  std::optional<NSHTTPURLResponse> response;
  std::optional<Error> error;
  std::optional<NewFile> file;
  Data data;
  std::uint64_t bytesReceived = 0;
  std::uint64_t bytesSent = 0;
  /// The body is the stored document's.
  bool fromCache = false;
  /// The reply came from a server, for the URL that was asked for: it may replace what is stored.
  bool isFirstHand = false;
};

/// One transfer on the worker's thread, redirects included.
///
/// The completion is called exactly once: when the body is whole, or at the first error, time-out
/// or cancellation.
class HttpTransfer : public std::enable_shared_from_this<HttpTransfer>, public CurlRequestListener {
 public:
  using Completion = std::function<void(HttpOutcome)>;

  /// Both references must stay valid as long as the object lives.
  HttpTransfer(HttpWorker& worker, const CurlRequestOptions& options, HttpJob job,
               Completion completion);

  const HttpJob& job() const { return job_; }
  /// The resource time-out counts from here on; the transfer may end before it starts.
  void await();
  void start();
  /// Ends with `NSURLError::cancelled` before the call returns; does nothing when ended.
  void cancel();

 private:
  void requestDidProgress() override;
  bool requestDidReceive(std::span<const char> bytes) override;
  void requestDidEnd(const std::optional<Error>& error) override;

  bool restoreDocument();
  void addValidators();
  void send();
  bool isBodyOfInterest() const;
  std::optional<Error> keep(std::span<const char> bytes);
  /// Makes the file for the body unless it is there.
  std::optional<Error> openFile(std::optional<NewFile>& file) const;
  void didReceiveReply();
  void followRedirect(const std::string& location);
  void deliverDocument(HTTPHeaders headers);
  void endRequest();
  void fail(Error error);
  void finish();

  HttpWorker& worker_;
  const CurlRequestOptions& options_;
  HttpJob job_;
  Completion completion_;
  HttpOutcome outcome_;
  NSURLRequest current_;
  std::optional<std::filesystem::path> uploadFile_;
  int redirects_ = 0;
  std::unique_ptr<CurlRequest> request_;
  /// A verified copy of the stored document's body, as long as it may be the answer.
  std::optional<NewFile> restored_;
  /// Why this object ended its request.
  std::optional<Error> verdict_;
  HttpTimer silence_;
  HttpTimer resource_;
};

}  // namespace ks
