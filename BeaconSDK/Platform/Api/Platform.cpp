#include "BeaconSDK/Platform/Api/Platform.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace ks {

namespace {

std::shared_ptr<Platform>& installed() {
  static std::shared_ptr<Platform> platform;
  return platform;
}

}  // namespace

Platform& Platform::current() {
  Platform* const platform = installed().get();
  if (platform == nullptr) {
    std::fputs("KSBeaconSDK: no platform is installed; call ks::Platform::install first\n", stderr);
    std::abort();
  }
  return *platform;
}

std::shared_ptr<Platform> Platform::install(std::shared_ptr<Platform> platform) {
  return std::exchange(installed(), std::move(platform));
}

bool Platform::isInstalled() { return installed() != nullptr; }

}  // namespace ks
