#pragma once

#include <utility>

#include "BeaconSDK/Platform/Common/DeviceApplication.h"

namespace ks {

/// The application of an embedded device: the host reports when it is in front, shows notifications
/// and alerts, and can query whether background work is running. Main queue only.
class EmbeddedApplication : public DeviceApplication {
 public:
  using Presenter = LocalNotifications::Presenter;

  EmbeddedApplication(DispatchQueue& mainQueue, NSNotificationCenter& center)
      : DeviceApplication(mainQueue, center) {}

  /// Call when the host came to the front, or went to the back.
  void becomeActive() { setActive(true); }
  void resignActive() { setActive(false); }

  /// True while the host should keep the process running.
  bool hasBackgroundWork() const { return !runningTasks().empty(); }
  /// Sets the function called with each local notification and alert that is due; may be null.
  void setPresenter(Presenter presenter) { presenter_ = std::move(presenter); }

 private:
  void present(const UILocalNotification& notification) override {
    if (presenter_) presenter_(notification);
  }

  Presenter presenter_;
};

}  // namespace ks
