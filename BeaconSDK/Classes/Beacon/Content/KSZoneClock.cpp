#include "BeaconSDK/Classes/Beacon/Content/KSZoneClock.h"

#include <atomic>

#include "BeaconSDK/Platform/Api/Platform.h"

namespace KSZoneClock {

namespace {

std::atomic<const ks::Clock*> current{nullptr};

}  // namespace

ks::Date now() {
  const ks::Clock* const clock = current.load();
  return clock != nullptr ? clock->now() : ks::Platform::current().clock().now();
}

Scope::Scope(const ks::Clock& clock) : clock_(clock) { current = &clock; }

Scope::~Scope() {
  const ks::Clock* mine = &clock_;
  current.compare_exchange_strong(mine, nullptr);
}

}  // namespace KSZoneClock
