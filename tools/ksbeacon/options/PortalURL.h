#pragma once

#include <string>
#include <string_view>

namespace ks::tool {

/// What is wrong with a portal's root URL that somebody gave; empty when nothing is.
std::string checkPortalURL(const std::string& url);

/// The host of a URL that passed the check, an IPv6 address in its brackets.
std::string_view hostOf(std::string_view url);

/// As the library wants it: without slashes at the end.
std::string trimmedPortalURL(std::string url);

}  // namespace ks::tool
