#include "BeaconSDK/Platform/Common/SystemClock.h"

#include <time.h>

#include <chrono>
#include <cstdlib>
#include <fstream>

namespace ks {

Seconds monotonicUptime() { return std::chrono::steady_clock::now().time_since_epoch(); }

Date SystemClock::now() const { return std::chrono::system_clock::now(); }

Seconds SystemClock::continuousUptime() const {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return Seconds{static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9};
}

std::string SystemClock::bootIdentifier() const {
  std::string identifier;
  std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), identifier);
  if (!identifier.empty()) return identifier;
  const char* const told = std::getenv(kBootVariable);
  return told != nullptr ? told : "";
}

}  // namespace ks
