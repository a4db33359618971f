#include "BeaconSDK/Platform/Http/HttpRules.h"

#include <libsoup/soup.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Http/GLibOwned.h"
#include "BeaconSDK/Platform/Http/HttpErrors.h"

namespace ks::HttpRules {

namespace {

constexpr auto kUriFlags = static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS);

std::string lower(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return result;
}

/// RFC 9110's token: what methods and field names consist of.
bool isToken(std::string_view text) {
  constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           kMarks.find(c) != std::string_view::npos;
  });
}

bool isCleanValue(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool isTransportField(std::string_view name) {
  static constexpr std::array kNames = {"host", "content-length", "transfer-encoding",
                                        "connection"};
  return std::find(kNames.begin(), kNames.end(), lower(name)) != kNames.end();
}

GLibOwned<GUri> parse(const std::string& text) {
  const bool printable = std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) > 0x20 && static_cast<unsigned char>(c) < 0x7f;
  });
  if (!printable) return nullptr;
  GLibOwned<GUri> uri(g_uri_parse(text.c_str(), kUriFlags, nullptr));
  const char* host = uri ? g_uri_get_host(uri.get()) : nullptr;
  if (host == nullptr || *host == '\0') return nullptr;
  return uri;
}

bool isHttps(GUri* uri) { return lower(g_uri_get_scheme(uri)) == "https"; }

bool isHttp(GUri* uri) { return isHttps(uri) || lower(g_uri_get_scheme(uri)) == "http"; }

std::string hostAndPort(GUri* uri) {
  int port = g_uri_get_port(uri);
  if (port <= 0) port = isHttps(uri) ? 443 : 80;
  return lower(g_uri_get_host(uri)) + ":" + std::to_string(port);
}

bool isSameOrigin(GUri* a, GUri* b) {
  return isHttps(a) == isHttps(b) && hostAndPort(a) == hostAndPort(b);
}

Error badURL(std::string description) {
  return urlError(NSURLError::badURL, std::move(description));
}

}  // namespace

Result<NSURLRequest> outgoingRequest(const NSURLRequest& request, const HTTPHeaders& additional) {
  const auto uri = parse(request.url.absoluteString);
  if (!uri) return badURL("not a valid URL");
  if (!isHttp(uri.get())) {
    return urlError(NSURLError::unsupportedURL, "only http and https are supported");
  }
  if (!isToken(request.httpMethod)) return badURL("not a valid request method");

  NSURLRequest result = request;
  for (const auto& [name, value] : additional) {
    if (!result.headers.find(name)) result.headers.set(name, value);
  }
  const HTTPHeaders fields = std::exchange(result.headers, {});
  for (const auto& [name, value] : fields) {
    if (!isToken(name)) return badURL("not a valid name of a header field");
    std::string clean = value;
    if (lower(name) == "authorization") {
      std::erase_if(clean, [](char c) { return c == '\r' || c == '\n'; });
    }
    if (!isCleanValue(clean)) return badURL("line break or NUL in the header field " + name);
    if (!isTransportField(name)) result.headers.set(name, std::move(clean));
  }
  return result;
}

std::string hostKey(const NSURL& url) {
  const auto uri = parse(url.absoluteString);
  return uri ? hostAndPort(uri.get()) : "";
}

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

Result<Redirect> redirect(const NSURLRequest& request, int status, std::string_view location) {
  const auto from = parse(request.url.absoluteString);
  GLibOwned<GUri> to;
  if (from && isCleanValue(location)) {
    to.reset(g_uri_parse_relative(from.get(), std::string(location).c_str(), kUriFlags, nullptr));
  }
  if (!to) return urlError(NSURLError::badServerResponse, "redirect to no valid URL");
  GLibOwned<gchar> text(g_uri_to_string(to.get()));
  if (!parse(text.get()))
    return urlError(NSURLError::badServerResponse, "redirect to no valid URL");
  if (!isHttp(to.get())) {
    return urlError(NSURLError::unsupportedURL, "redirect to something other than http and https");
  }
  if (isHttps(from.get()) && !isHttps(to.get())) {
    return urlError(NSURLError::secureConnectionFailed, "redirect from https to http refused");
  }

  Redirect result{request, true};
  result.request.url.absoluteString = text.get();
  const bool isPost = request.httpMethod == "POST";
  const bool isHead = request.httpMethod == "HEAD";
  if ((status == 303 && !isHead) || ((status == 301 || status == 302) && isPost)) {
    result.request.httpMethod = "GET";
    result.request.httpBody.clear();
    result.request.headers.remove("Content-Type");
    result.keepsBody = false;
  }
  if (!isSameOrigin(from.get(), to.get())) {
    for (const char* name : {"Authorization", "Cookie", "Proxy-Authorization"}) {
      result.request.headers.remove(name);
    }
  }
  return result;
}

}  // namespace ks::HttpRules
