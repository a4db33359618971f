#include "BeaconSDK/Platform/Http/HttpErrors.h"

#include <libsoup/soup.h>

#include <cstdint>
#include <utility>

namespace ks {

namespace {

NSURLError ioErrorCode(int code) {
  switch (code) {
    case G_IO_ERROR_CANCELLED:
      return NSURLError::cancelled;
    case G_IO_ERROR_TIMED_OUT:
      return NSURLError::timedOut;
    case G_IO_ERROR_HOST_NOT_FOUND:
      return NSURLError::cannotFindHost;
    case G_IO_ERROR_CONNECTION_REFUSED:
    case G_IO_ERROR_HOST_UNREACHABLE:
    case G_IO_ERROR_NETWORK_UNREACHABLE:
      return NSURLError::cannotConnectToHost;
    case G_IO_ERROR_PARTIAL_INPUT:
    case G_IO_ERROR_CONNECTION_CLOSED:
      return NSURLError::networkConnectionLost;
    case G_IO_ERROR_INVALID_DATA:
      return NSURLError::badServerResponse;
    default:
      return NSURLError::unknown;
  }
}

NSURLError code(const GError& error) {
  if (error.domain == G_IO_ERROR) return ioErrorCode(error.code);
  if (error.domain == G_RESOLVER_ERROR) return NSURLError::cannotFindHost;
  if (error.domain == G_TLS_ERROR) {
    return error.code == G_TLS_ERROR_BAD_CERTIFICATE ? NSURLError::serverCertificateUntrusted
                                                     : NSURLError::secureConnectionFailed;
  }
  if (error.domain == SOUP_SESSION_ERROR) return NSURLError::badServerResponse;
  return NSURLError::unknown;
}

}  // namespace

Error urlError(NSURLError code, std::string description) {
  return {NSURLErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

Error urlErrorFrom(const GError& error) { return urlError(code(error), error.message); }

}  // namespace ks
