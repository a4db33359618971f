#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Common/DeviceApplication.h"

namespace ks {

/// The host application of a simulated device: records the library's requests to the system and
/// acts as the system on demand. Main queue only.
class SimulatedApplication : public DeviceApplication {
 public:
  SimulatedApplication(DispatchQueue& mainQueue, NSNotificationCenter& center)
      : DeviceApplication(mainQueue, center) {}

  UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void showAlertView(const UIAlertView& alert) override;

  /// Simulates that the application comes to the front, or goes to the back.
  void becomeActive() { setActive(true); }
  void resignActive() { setActive(false); }

  /// Returns the tasks begun and not ended, oldest first: those left at the end of a test have
  /// leaked.
  std::vector<UIBackgroundTaskIdentifier> backgroundTasks() const;
  /// True refuses new background tasks. Default: false.
  void setRefusesBackgroundTasks(bool flag) { refusesBackgroundTasks_ = flag; }

  /// Local notifications waiting for their delay, and those that were shown, each in order.
  std::vector<UILocalNotification> scheduledLocalNotifications() const {
    return localNotifications().pending();
  }
  const std::vector<UILocalNotification>& deliveredLocalNotifications() const {
    return deliveredNotifications_;
  }
  /// All message boxes shown so far.
  const std::vector<UIAlertView>& alerts() const { return alerts_; }

  /// Set the functions called when a notification or an alert is shown; may be null.
  void setLocalNotificationListener(std::function<void(const UILocalNotification&)> listener) {
    notificationListener_ = std::move(listener);
  }
  void setAlertListener(std::function<void(const UIAlertView&)> listener) {
    alertListener_ = std::move(listener);
  }

 private:
  void present(const UILocalNotification& notification) override;

  bool refusesBackgroundTasks_ = false;
  std::vector<UILocalNotification> deliveredNotifications_;
  std::vector<UIAlertView> alerts_;
  std::function<void(const UILocalNotification&)> notificationListener_;
  std::function<void(const UIAlertView&)> alertListener_;
};

}  // namespace ks
