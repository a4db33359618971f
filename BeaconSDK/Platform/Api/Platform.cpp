#include "BeaconSDK/Platform/Api/Platform.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace ks {

namespace {

std::shared_ptr<Platform>& installed() {
  static std::shared_ptr<Platform> platform;
  return platform;
}

std::atomic<int> uses = 0;

}  // namespace

PlatformUse::PlatformUse() { ++uses; }
PlatformUse::~PlatformUse() { --uses; }
bool PlatformUse::isAny() { return uses > 0; }

Platform& Platform::current() {
  Platform* const platform = installed().get();
  if (platform == nullptr) {
    std::fputs("KSBeaconSDK: no platform is installed; call ks::Platform::install first\n", stderr);
    std::abort();
  }
  return *platform;
}

std::shared_ptr<Platform> Platform::install(std::shared_ptr<Platform> platform) {
  if (PlatformUse::isAny() && platform != installed()) {
    std::fputs(
        "KSBeaconSDK: the platform stays installed: a KSProximityManager still uses it; release "
        "the manager first\n",
        stderr);
    return platform;
  }
  return std::exchange(installed(), std::move(platform));
}

bool Platform::isInstalled() { return installed() != nullptr; }

}  // namespace ks
