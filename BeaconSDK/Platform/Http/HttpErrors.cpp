#include "BeaconSDK/Platform/Http/HttpErrors.h"

#include <cstdint>
#include <utility>

namespace ks {

namespace {

NSURLError code(CURLcode result) {
  switch (result) {
    case CURLE_URL_MALFORMAT:
      return NSURLError::badURL;
    case CURLE_OPERATION_TIMEDOUT:
      return NSURLError::timedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return NSURLError::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return NSURLError::cannotConnectToHost;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    // The connection closed before the reply; a body that was already sent is not repeated.
    case CURLE_SEND_FAIL_REWIND:
      return NSURLError::networkConnectionLost;
    // The reply is HTTP/0.9 or no HTTP at all: the scheme was checked before.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_WRITE_ERROR:
      return NSURLError::badServerResponse;
    case CURLE_FILESIZE_EXCEEDED:
      return NSURLError::dataLengthExceedsMaximum;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
      return NSURLError::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
      return NSURLError::serverCertificateUntrusted;
    default:
      return NSURLError::unknown;
  }
}

}  // namespace

Error urlError(NSURLError code, std::string description) {
  return {NSURLErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

Error urlErrorFrom(CURLcode result, const char* detail) {
  const bool hasDetail = detail != nullptr && *detail != '\0';
  return urlError(code(result), hasDetail ? detail : curl_easy_strerror(result));
}

}  // namespace ks
