#include "BeaconSDK/Platform/Common/SystemClock.h"

#include <chrono>

namespace ks {

Seconds monotonicUptime() { return std::chrono::steady_clock::now().time_since_epoch(); }

Date SystemClock::now() const { return std::chrono::system_clock::now(); }

}  // namespace ks
