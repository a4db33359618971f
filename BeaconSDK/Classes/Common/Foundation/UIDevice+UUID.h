#pragma once

#include <string>

/// The identity of this device for the portal. Each call queries the platform. Any thread.
namespace ks::UIDeviceUUID {

bool isAdvertisingTrackingEnabled();
/// The advertising identifier while the user allows tracking, else the identifier for this vendor;
/// upper case with hyphens. Empty where the platform has none.
std::string currentDeviceUUID();
/// "IDFA" or "IDFV": which of the two `currentDeviceUUID` returns.
std::string advertisingType();

}  // namespace ks::UIDeviceUUID
