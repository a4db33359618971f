#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ks::portal {

/// Whether a request's `Host` field ("kiosk.local:8080") can be meant for this portal: an IP
/// address, "localhost", this machine's name with or without ".local", or one of `names`. A page
/// whose own name was made to lead here is thereby told from the portal's users. An empty host is
/// that of a client older than the field.
bool isOwnHost(std::string_view host, const std::vector<std::string>& names);

/// Whether `origin` is that of a page of the portal itself; empty: no page asks.
bool isOwnOrigin(std::string_view origin, std::string_view host);

}  // namespace ks::portal
