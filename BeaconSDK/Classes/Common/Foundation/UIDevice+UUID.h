#pragma once

#include <string>

/// This device's identity for the portal. Each call queries the platform. Any thread.
namespace ks::UIDeviceUUID {

bool isAdvertisingTrackingEnabled();
/// Returns the advertising identifier while the user allows tracking, otherwise the identifier for
/// this vendor; upper case with hyphens. Empty if the platform has none.
std::string currentDeviceUUID();
/// Returns "IDFA" or "IDFV": which of the two `currentDeviceUUID` returns.
std::string advertisingType();

}  // namespace ks::UIDeviceUUID
