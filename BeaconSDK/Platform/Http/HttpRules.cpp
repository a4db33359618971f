#include "BeaconSDK/Platform/Http/HttpRules.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Http/CurlOwned.h"
#include "BeaconSDK/Platform/Http/HttpErrors.h"

namespace ks::HttpRules {

namespace {

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
  return std::find(kNames.begin(), kNames.end(), asciiLowerCased(std::string(name))) !=
         kNames.end();
}

/// A part of the URL as text, "" when it has none.
std::string part(const CurlURL& url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url.get(), which, &text, flags) != CURLUE_OK) return "";
  return CurlText(text).get();
}

/// Null for what is not an absolute URL with a host.
CurlURL parse(const std::string& text) {
  const bool printable = std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) > 0x20 && static_cast<unsigned char>(c) < 0x7f;
  });
  if (!printable) return nullptr;
  CurlURL url(curl_url());
  if (curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return nullptr;
  }
  return part(url, CURLUPART_HOST).empty() ? nullptr : std::move(url);
}

bool isHttps(const CurlURL& url) { return asciiLowerCased(part(url, CURLUPART_SCHEME)) == "https"; }

bool isHttp(const CurlURL& url) {
  return isHttps(url) || asciiLowerCased(part(url, CURLUPART_SCHEME)) == "http";
}

std::string hostAndPort(const CurlURL& url) {
  return asciiLowerCased(part(url, CURLUPART_HOST)) + ":" +
         part(url, CURLUPART_PORT, CURLU_DEFAULT_PORT);
}

bool isSameOrigin(const CurlURL& a, const CurlURL& b) {
  return isHttps(a) == isHttps(b) && hostAndPort(a) == hostAndPort(b);
}

Error badURL(std::string description) {
  return urlError(NSURLError::badURL, std::move(description));
}

}  // namespace

Result<NSURLRequest> outgoingRequest(const NSURLRequest& request, const HTTPHeaders& additional) {
  const auto url = parse(request.url.absoluteString);
  if (!url) return badURL("not a valid URL");
  if (!isHttp(url)) {
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
    if (asciiLowerCased(name) == "authorization") {
      std::erase_if(clean, [](char c) { return c == '\r' || c == '\n'; });
    }
    if (!isCleanValue(clean)) return badURL("line break or NUL in the header field " + name);
    if (!isTransportField(name)) result.headers.set(name, std::move(clean));
  }
  return result;
}

std::string hostKey(const NSURL& url) {
  const auto parsed = parse(url.absoluteString);
  return parsed ? hostAndPort(parsed) : "";
}

std::string hostName(const NSURL& url) {
  const auto parsed = parse(url.absoluteString);
  return parsed ? asciiLowerCased(part(parsed, CURLUPART_HOST)) : "";
}

bool isLoopback(std::string_view host) {
  return host == "localhost" || host.ends_with(".localhost") || host == "[::1]" ||
         host.starts_with("127.");
}

bool isPlain(const NSURL& url) {
  const auto parsed = parse(url.absoluteString);
  return parsed && isHttp(parsed) && !isHttps(parsed);
}

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

Result<Redirect> redirect(const NSURLRequest& request, int status, std::string_view location) {
  const auto from = parse(request.url.absoluteString);
  const CurlURL resolved(from ? curl_url_dup(from.get()) : nullptr);
  const bool isResolved = resolved && isCleanValue(location) &&
                          curl_url_set(resolved.get(), CURLUPART_URL, std::string(location).c_str(),
                                       CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE) == CURLUE_OK;
  const std::string text = isResolved ? part(resolved, CURLUPART_URL) : "";
  const auto to = parse(text);
  if (!to) return urlError(NSURLError::badServerResponse, "redirect to no valid URL");
  if (!isHttp(to)) {
    return urlError(NSURLError::unsupportedURL, "redirect to something other than http and https");
  }
  if (isHttps(from) && !isHttps(to)) {
    return urlError(NSURLError::secureConnectionFailed, "redirect from https to http refused");
  }

  Redirect result{request, true};
  result.request.url.absoluteString = text;
  const bool isPost = request.httpMethod == "POST";
  const bool isHead = request.httpMethod == "HEAD";
  if ((status == 303 && !isHead) || ((status == 301 || status == 302) && isPost)) {
    result.request.httpMethod = "GET";
    result.request.httpBody.clear();
    result.request.headers.remove("Content-Type");
    result.keepsBody = false;
  }
  if (!isSameOrigin(from, to)) {
    for (const char* name : {"Authorization", "Cookie", "Proxy-Authorization"}) {
      result.request.headers.remove(name);
    }
  }
  return result;
}

}  // namespace ks::HttpRules
