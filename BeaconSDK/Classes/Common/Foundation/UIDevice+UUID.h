#pragma once

#include <string>

/// Who this device is, as told to the portal. Each call asks the platform anew. Any thread.
namespace ks::UIDeviceUUID {

bool isAdvertisingTrackingEnabled();
/// The advertising identifier while the user allows tracking, else the identifier for this vendor;
/// upper case with hyphens. Empty where the platform has none.
std::string currentDeviceUUID();
/// "IDFA" or "IDFV": which of the two `currentDeviceUUID` answers.
std::string advertisingType();

}  // namespace ks::UIDeviceUUID
