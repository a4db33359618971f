#include "BeaconSDK/Platform/Linux/LinuxServices.h"

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZRadio.h"
#include "BeaconSDK/Platform/Linux/Notifications/DesktopNotificationCenter.h"

namespace ks {

std::unique_ptr<LinuxRadio> makeLinuxRadio(const LinuxServiceContext& context) {
  return std::make_unique<BlueZRadio>(context);
}

std::unique_ptr<LinuxNotificationCenter> makeLinuxNotificationCenter(
    const LinuxServiceContext& context) {
  return std::make_unique<DesktopNotificationCenter>(context);
}

}  // namespace ks
