#include "BeaconSDK/Platform/Linux/LinuxServices.h"

namespace ks {

std::unique_ptr<LinuxRadio> makeLinuxRadio(const LinuxServiceContext& /*context*/) {
  return nullptr;
}

std::unique_ptr<LinuxNotificationCenter> makeLinuxNotificationCenter(
    const LinuxServiceContext& /*context*/) {
  return nullptr;
}

}  // namespace ks
