#include "BeaconSDK/Classes/Common/Foundation/UIDevice+UUID.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks::UIDeviceUUID {

bool isAdvertisingTrackingEnabled() {
  return Platform::current().identifierManager().isAdvertisingTrackingEnabled();
}

std::string currentDeviceUUID() {
  auto& platform = Platform::current();
  const UUID uuid = isAdvertisingTrackingEnabled()
                        ? platform.identifierManager().advertisingIdentifier()
                        : platform.device().identifierForVendor();
  return uuid == UUID{} ? "" : uuid.UUIDString();
}

std::string advertisingType() { return isAdvertisingTrackingEnabled() ? "IDFA" : "IDFV"; }

}  // namespace ks::UIDeviceUUID
