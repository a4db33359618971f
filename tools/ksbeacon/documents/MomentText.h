#pragma once

#include <optional>
#include <string_view>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks::tool {

/// "2026-05-04T09:00:00Z", with a fraction of the second or an offset such as "+02:00" if need be;
/// from 1970 on.
std::optional<Date> dateFromText(std::string_view text);

/// "1:30" or "2:01:30", in seconds.
std::optional<double> momentFromText(std::string_view text);

}  // namespace ks::tool
