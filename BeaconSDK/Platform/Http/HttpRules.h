#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks::HttpRules {

/// The redirects that one transfer follows; a browser allows 20.
inline constexpr int kMaximumRedirects = 16;

/// The request as it goes out: the session's fields joined, the transport's own fields left out,
/// line breaks removed from the Authorization value. An error when it must not be sent: a URL,
/// method, field name or field value that could smuggle, or a scheme other than http and https.
Result<NSURLRequest> outgoingRequest(const NSURLRequest& request, const HTTPHeaders& additional);

/// "host:port" in lower case, the transfers to which share connections. Only for URLs that
/// `outgoingRequest` let through; else empty.
std::string hostKey(const NSURL& url);

/// The host in lower case, IPv6 addresses in brackets; empty for what is not a URL.
std::string hostName(const NSURL& url);

/// Whether a host as `hostName` returns it names this device itself, whatever its addresses.
bool isLoopback(std::string_view host);

/// Whether the URL's scheme is http, which anybody on the way can read.
bool isPlain(const NSURL& url);

bool isRedirect(int status);

struct Redirect {
  NSURLRequest request;
  /// False when the request goes on without its body.
  bool keepsBody = false;
};

/// What to send after `request` was answered with a redirect to `location`, or why it ends there.
Result<Redirect> redirect(const NSURLRequest& request, int status, std::string_view location);

}  // namespace ks::HttpRules
