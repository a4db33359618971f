#include "tools/ksbeacon/options/PortalURL.h"

namespace ks::tool {

namespace {

/// "user@host:port" of a URL with a scheme.
std::string_view authorityOf(std::string_view url) {
  url.remove_prefix(url.find("://") + 3);
  return url.substr(0, url.find_first_of("/?#"));
}

}  // namespace

std::string checkPortalURL(const std::string& url) {
  if (!url.starts_with("http://") && !url.starts_with("https://")) {
    return "expected a URL that begins with https:// or http://, got \"" + url + "\"";
  }
  if (authorityOf(url).find('@') != std::string_view::npos) {
    return "a URL must hold no user and no password: other users can read arguments";
  }
  return hostOf(url).empty() ? "expected a URL with a host, got \"" + url + "\"" : "";
}

std::string_view hostOf(std::string_view url) {
  const std::string_view authority = authorityOf(url);
  if (authority.starts_with('[')) return authority.substr(0, authority.find(']') + 1);
  return authority.substr(0, authority.find(':'));
}

std::string trimmedPortalURL(std::string url) {
  while (url.ends_with('/')) url.pop_back();
  return url;
}

}  // namespace ks::tool
