#include "BeaconSDK/Platform/Linux/Loop/LinuxClock.h"

#include <chrono>

namespace ks {

Seconds monotonicUptime() { return std::chrono::steady_clock::now().time_since_epoch(); }

Date LinuxClock::now() const { return std::chrono::system_clock::now(); }

}  // namespace ks
