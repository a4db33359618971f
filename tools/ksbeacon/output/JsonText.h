#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks::tool {

/// A value as one line of JSON; members keep their order, absent values are null, numbers that no
/// JSON can hold are null.
std::string jsonText(const Value& value);

/// "2026-05-04T09:01:53.000Z", as RFC 3339 has it; for the device's own dates.
std::string dateInUTC(Date date);

}  // namespace ks::tool
