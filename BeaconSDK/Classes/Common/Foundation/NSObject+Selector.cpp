#include <cmath>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSObject+Selector.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks::NSObjectSelector {

void runOnMainQueue(const Task& block) {
  auto& queue = Platform::current().mainQueue();
  if (queue.isCurrent()) {
    block();
  } else {
    queue.sync(block);
  }
}

void runOnMainQueue(Task block, Seconds delay) {
  constexpr double kNanosecondsPerSecond = 1e9;
  const double nanoseconds = std::trunc(delay.count() * kNanosecondsPerSecond);
  Platform::current().mainQueue().after(Seconds{nanoseconds / kNanosecondsPerSecond},
                                        std::move(block));
}

}  // namespace ks::NSObjectSelector
