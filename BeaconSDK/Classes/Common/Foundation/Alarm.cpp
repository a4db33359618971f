#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"

#include <utility>

namespace ks {

void Alarm::schedule(Seconds delay, Task task) {
  invalidate();
  timer_ = queue_.after(delay, [this, task = std::move(task)] {
    timer_ = 0;
    // The task may destroy this alarm: nothing of it is used from here on.
    task();
  });
}

void Alarm::invalidate() {
  if (timer_ != 0) queue_.cancel(std::exchange(timer_, 0));
}

}  // namespace ks
