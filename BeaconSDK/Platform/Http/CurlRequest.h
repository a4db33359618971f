#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/CurlOwned.h"
#include "BeaconSDK/Platform/Http/HttpWorker.h"

namespace ks {

/// What all requests of a loading system are sent with.
struct CurlRequestOptions {
  /// PEM text of certificates that are trusted besides the system's; empty: none.
  std::string certificateAuthorities;
  /// Host names in lower case to the public keys allowed there: "sha256//BASE64", more than one
  /// separated by ';'. Other hosts are verified by their certificates alone.
  std::map<std::string, std::string> publicKeyPins;
  /// Of the reply's body as received; bytes.
  std::uint64_t maximumBodySize = 0;
};

/// Follows one request. Called on the worker's thread.
class CurlRequestListener {
 public:
  virtual ~CurlRequestListener() = default;
  /// Bytes were sent or received. Must not end the request.
  virtual void requestDidProgress() = 0;
  /// A piece of the body, decoded; `statusCode` and `headers` of the request are settled. False
  /// ends the request with an error. Must not destroy the request.
  virtual bool requestDidReceive(std::span<const char> bytes) = 0;
  /// The last call; the listener may destroy the request. No error means that the reply is whole.
  virtual void requestDidEnd(const std::optional<Error>& error) = 0;
};

/// One request and its reply on one libcurl handle: HTTP/1.1, verified certificates, TLS 1.2 or
/// later. Follows no redirects, keeps no cookies and sends no credentials of its own; a request
/// with a body is sent at most once. Worker's thread only.
class CurlRequest {
 public:
  /// `request` must have passed `HttpRules::outgoingRequest`; its body is sent unless `uploadFile`
  /// is given. The references must stay valid as long as the object lives.
  CurlRequest(HttpWorker& worker, const CurlRequestOptions& options, const NSURLRequest& request,
              const std::optional<std::filesystem::path>& uploadFile,
              CurlRequestListener& listener);
  /// Ends the request without a further call.
  ~CurlRequest();
  CurlRequest(const CurlRequest&) = delete;
  CurlRequest& operator=(const CurlRequest&) = delete;

  /// Makes the request fail instead of connecting to an address that `isLocalAddress`; a proxy may
  /// have any. Before `start`.
  void refuseLocalAddresses();
  /// Begins; returns why it cannot, as when the upload's file cannot be read.
  std::optional<Error> start();
  /// 0 before the final reply's head arrived.
  int statusCode() const;
  /// Fields of one name are joined by ", ".
  HTTPHeaders headers() const;
  /// Bytes of the request's body that went out.
  std::uint64_t bytesSent() const;

 private:
  struct Callbacks;
  friend struct Callbacks;

  void configure();
  void configureTrust(const std::string& host);
  void setURL();
  void setFields();
  std::optional<Error> setBody();
  std::size_t readBody(std::span<char> space);
  bool acceptHeadLine(std::span<const char> line);
  void didEnd(CURLcode result);

  HttpWorker& worker_;
  const CurlRequestOptions& options_;
  const NSURLRequest& request_;
  const std::optional<std::filesystem::path>& uploadFile_;
  CurlRequestListener& listener_;
  CurlEasy handle_;
  CurlURL url_;
  CurlList fields_;
  std::array<char, CURL_ERROR_SIZE> detail_{};
  int upload_ = -1;
  std::uint64_t bodySize_ = 0;
  std::uint64_t bodyRead_ = 0;
  std::size_t headSize_ = 0;
  bool headIsWhole_ = false;
  bool isRefused_ = false;
  curl_off_t received_ = 0;
  curl_off_t sent_ = 0;
};

}  // namespace ks
