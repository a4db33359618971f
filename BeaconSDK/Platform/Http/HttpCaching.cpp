#include "BeaconSDK/Platform/Http/HttpCaching.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Ascii.h"

namespace ks::HttpCaching {

namespace {

/// What the standard takes for values that are too large.
constexpr double kLongestAge = 2147483648.0;

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool sameWord(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, asciiLowerCase, asciiLowerCase);
}

/// The members of a list field; commas inside quotes do not separate.
std::vector<std::string_view> members(const HTTPHeaders& headers, std::string_view name) {
  std::vector<std::string_view> found;
  const std::string* value = headers.find(name);
  std::string_view rest = value != nullptr ? std::string_view(*value) : "";
  while (!rest.empty()) {
    bool isQuoted = false;
    const auto end = std::ranges::find_if(rest, [&isQuoted](char c) {
      if (c == '"') isQuoted = !isQuoted;
      return c == ',' && !isQuoted;
    });
    const auto length = static_cast<std::size_t>(end - rest.begin());
    if (const auto member = trimmed(rest.substr(0, length)); !member.empty()) {
      found.push_back(member);
    }
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  return found;
}

/// The argument of the directive, "" when it has none; nothing without the directive.
std::optional<std::string_view> directive(const HTTPHeaders& headers, std::string_view name) {
  for (const std::string_view member : members(headers, "Cache-Control")) {
    const auto equals = member.find('=');
    if (!sameWord(trimmed(member.substr(0, equals)), name)) continue;
    std::string_view argument =
        equals == std::string_view::npos ? "" : trimmed(member.substr(equals + 1));
    if (argument.size() >= 2 && argument.front() == '"' && argument.back() == '"') {
      argument = argument.substr(1, argument.size() - 2);
    }
    return argument;
  }
  return std::nullopt;
}

/// A count of seconds; nothing for what is none.
std::optional<double> seconds(std::string_view text) {
  const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == text.npos;
  if (!isNumber) return std::nullopt;
  std::int64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool fits = result.ec == std::errc{} && static_cast<double>(number) < kLongestAge;
  return fits ? static_cast<double>(number) : kLongestAge;
}

std::optional<Date> dateIn(const HTTPHeaders& headers, std::string_view name) {
  const std::string* value = headers.find(name);
  if (value == nullptr) return std::nullopt;
  const auto time = curl_getdate(value->c_str(), nullptr);
  if (time == -1) return std::nullopt;
  return dateFromSecondsSince1970(static_cast<double>(time));
}

bool hasValidator(const HTTPHeaders& headers) {
  return headers.find("ETag") != nullptr || headers.find("Last-Modified") != nullptr;
}

/// Whether a field says how its own reply's body travelled or what it contains.
bool describesBody(std::string_view name) {
  static constexpr std::array kNames = {"Content-Length",    "Content-Encoding", "Content-Type",
                                        "Transfer-Encoding", "Content-Range",    "Connection"};
  return std::ranges::any_of(kNames, [&](std::string_view each) { return sameWord(each, name); });
}

}  // namespace

bool isCacheable(const NSURLRequest& request) {
  static constexpr std::array kOwnRules = {
      "Range",         "If-Match", "If-None-Match", "If-Modified-Since", "If-Unmodified-Since",
      "Cache-Control", "Pragma",   "If-Range"};
  return request.httpMethod == "GET" && request.httpBody.empty() &&
         std::ranges::none_of(kOwnRules,
                              [&](const char* name) { return request.headers.find(name); });
}

bool mayStore(const NSHTTPURLResponse& response) {
  const HTTPHeaders& headers = response.headers;
  if (response.statusCode != 200 || directive(headers, "no-store")) return false;
  const auto varying = members(headers, "Vary");
  if (std::ranges::find(varying, "*") != varying.end()) return false;
  return hasValidator(headers) || freshnessLifetime(headers, Date{}) > Seconds{0};
}

bool invalidates(const NSURLRequest& request, const NSHTTPURLResponse& response) {
  constexpr int kNotFound = 404;
  constexpr int kGone = 410;
  const int status = response.statusCode;
  if (request.httpMethod == "HEAD") return false;
  if (request.httpMethod == "GET") return status == kNotFound || status == kGone;
  return status >= 200 && status < 400;
}

Seconds freshnessLifetime(const HTTPHeaders& response, Date receivedAt) {
  if (directive(response, "no-cache")) return Seconds{0};
  if (const auto age = directive(response, "max-age")) return Seconds{seconds(*age).value_or(0)};
  const auto expires = dateIn(response, "Expires");
  if (!expires) return Seconds{0};
  return std::max(*expires - dateIn(response, "Date").value_or(receivedAt), Seconds{0});
}

bool isFresh(const HTTPHeaders& response, Date receivedAt, Date now) {
  const std::string* onTheWay = response.find("Age");
  const Seconds before{onTheWay != nullptr ? seconds(trimmed(*onTheWay)).value_or(0) : 0};
  const Seconds here = now - receivedAt;
  return here >= Seconds{0} && before + here < freshnessLifetime(response, receivedAt);
}

HTTPHeaders selectingFields(const NSURLRequest& request, const HTTPHeaders& response) {
  HTTPHeaders fields;
  for (const std::string_view name : members(response, "Vary")) {
    const std::string* value = request.headers.find(name);
    fields.set(name, value != nullptr ? *value : "");
  }
  return fields;
}

bool matches(const NSURLRequest& request, const HTTPHeaders& selectingFields) {
  return std::ranges::all_of(selectingFields, [&](const HTTPHeaders::Field& field) {
    const std::string* value = request.headers.find(field.first);
    return field.second == (value != nullptr ? *value : "");
  });
}

void addValidators(NSURLRequest& request, const HTTPHeaders& kept) {
  if (const auto* tag = kept.find("ETag")) request.headers.set("If-None-Match", *tag);
  if (const auto* date = kept.find("Last-Modified")) {
    request.headers.set("If-Modified-Since", *date);
  }
}

void removeValidators(NSURLRequest& request) {
  request.headers.remove("If-None-Match");
  request.headers.remove("If-Modified-Since");
}

HTTPHeaders merged(const HTTPHeaders& kept, const HTTPHeaders& confirmation) {
  HTTPHeaders headers = kept;
  // An age that the confirmation does not repeat has ended.
  headers.remove("Age");
  for (const auto& [name, value] : confirmation) {
    if (!describesBody(name)) headers.set(name, value);
  }
  return headers;
}

}  // namespace ks::HttpCaching
