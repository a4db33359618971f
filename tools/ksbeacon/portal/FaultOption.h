#pragma once

#include <string>
#include <variant>

#include "tools/ksbeacon/portal/PortalOptions.h"

namespace ks::tool {

/// Reads "KIND[:VALUE][@PATH]", as in "status:401@/beacons", "latency:2", "truncate", "not-json",
/// "slow:0.5" or "drop". A path begins with "/". A mistake is answered with a text that says what
/// is expected.
std::variant<portal::Fault, std::string> faultFromOption(const std::string& text);

/// The same form, as `faultFromOption` reads it.
std::string faultText(const portal::Fault& fault);

}  // namespace ks::tool
