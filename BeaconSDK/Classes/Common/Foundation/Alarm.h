#pragma once

#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// What an alarm is for.
enum class AlarmName {
  /// The next fetch of the locations near the device.
  refreshLocations,
  /// The check for outdated zones after the application became active.
  refreshBeacons,
  /// The end of a content's dwelling time.
  dwelling,
  /// The next attempt to send kept statistics.
  statistics,
};

/// "refreshLocations", ...
std::string_view alarmNameText(AlarmName name);

/// A one-shot timer on the main queue. Main queue only.
///
/// A member of whoever waits for it: destroying it cancels it, so its task may refer to the owner.
/// The task may schedule the alarm again and may destroy it.
class Alarm {
 public:
  explicit Alarm(AlarmName name) : name_(name) {}
  ~Alarm() { invalidate(); }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

  /// Runs `task` once when `delay` has passed, in place of a task that still waits.
  void schedule(Seconds delay, Task task);
  void invalidate();
  /// False once the task has begun to run.
  bool isScheduled() const { return timer_ != 0; }
  AlarmName name() const { return name_; }

 private:
  AlarmName name_;
  TimerId timer_ = 0;
};

}  // namespace ks
