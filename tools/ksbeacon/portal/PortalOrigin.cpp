#include "tools/ksbeacon/portal/PortalOrigin.h"

#include <gio/gio.h>

#include <algorithm>

#include "BeaconSDK/Platform/Api/Ascii.h"

namespace ks::portal {

namespace {

/// Without the port, and without the brackets of an IPv6 address.
std::string nameIn(std::string_view host) {
  if (host.starts_with('[')) return std::string(host.substr(1, host.find(']') - 1));
  return asciiLowerCased(std::string(host.substr(0, host.find(':'))));
}

}  // namespace

bool isOwnHost(std::string_view host, const std::vector<std::string>& names) {
  const std::string name = nameIn(host);
  if (host.empty() || name == "localhost" || g_hostname_is_ip_address(name.c_str()) != FALSE) {
    return true;
  }
  const std::string machine = asciiLowerCased(g_get_host_name());
  return name == machine || name == machine + ".local" ||
         std::ranges::any_of(names,
                             [&](const auto& each) { return asciiLowerCased(each) == name; });
}

bool isOwnOrigin(std::string_view origin, std::string_view host) {
  if (origin.empty()) return true;
  const std::size_t scheme = origin.find("://");
  return scheme != std::string_view::npos && !host.empty() &&
         asciiLowerCased(std::string(origin.substr(scheme + 3))) ==
             asciiLowerCased(std::string(host));
}

}  // namespace ks::portal
