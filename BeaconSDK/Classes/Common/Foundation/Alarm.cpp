#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"

#include <utility>

#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

std::string_view alarmNameText(AlarmName name) {
  switch (name) {
    case AlarmName::refreshLocations:
      return "refreshLocations";
    case AlarmName::refreshBeacons:
      return "refreshBeacons";
    case AlarmName::dwelling:
      return "dwelling";
    case AlarmName::statistics:
      return "statistics";
  }
  return "";
}

void Alarm::schedule(Seconds delay, Task task) {
  invalidate();
  timer_ = Platform::current().mainQueue().after(delay, [this, task = std::move(task)] {
    timer_ = 0;
    // The task may destroy this alarm: nothing of it is used from here on.
    task();
  });
}

void Alarm::invalidate() {
  if (timer_ == 0) return;
  Platform::current().mainQueue().cancel(std::exchange(timer_, 0));
}

}  // namespace ks
