#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Common/LocalNotifications.h"

namespace ks {

/// The host application of a simulated device: records the library's requests to the system and
/// acts as the system on demand. Main queue only.
class SimulatedApplication : public UIApplication {
 public:
  SimulatedApplication(DispatchQueue& mainQueue, NSNotificationCenter& center);
  SimulatedApplication(const SimulatedApplication&) = delete;
  SimulatedApplication& operator=(const SimulatedApplication&) = delete;

  void setMinimumBackgroundFetchInterval(Seconds interval) override { fetchInterval_ = interval; }
  UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void endBackgroundTask(UIBackgroundTaskIdentifier task) override;
  void scheduleLocalNotification(UILocalNotification notification) override {
    localNotifications_.schedule(std::move(notification));
  }
  void cancelAllLocalNotifications() override { localNotifications_.cancelAll(); }
  void showAlertView(const UIAlertView& alert) override;

  /// Each posts its notification asynchronously on the main queue, unless already in that state.
  /// Initially inactive.
  void becomeActive();
  void resignActive();
  bool isActive() const { return active_; }

  std::optional<Seconds> minimumBackgroundFetchInterval() const { return fetchInterval_; }

  /// Returns the tasks begun and not ended, oldest first: those left at the end of a test have
  /// leaked.
  std::vector<UIBackgroundTaskIdentifier> backgroundTasks() const;
  /// True refuses new background tasks. Default: false.
  void setRefusesBackgroundTasks(bool flag) { refusesBackgroundTasks_ = flag; }
  /// Expires every background task, on the main queue.
  void expireBackgroundTasks();

  /// Local notifications waiting for their delay, and those that were shown, each in order.
  std::vector<UILocalNotification> scheduledLocalNotifications() const {
    return localNotifications_.pending();
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
  void postSoon(const char* name);
  void deliver(const UILocalNotification& notification);

  DispatchQueue& mainQueue_;
  NSNotificationCenter& center_;
  bool active_ = false;
  bool refusesBackgroundTasks_ = false;
  std::optional<Seconds> fetchInterval_;
  UIBackgroundTaskIdentifier lastBackgroundTask_ = UIBackgroundTaskInvalid;
  std::map<UIBackgroundTaskIdentifier, std::function<void()>> backgroundTasks_;
  std::vector<UILocalNotification> deliveredNotifications_;
  std::vector<UIAlertView> alerts_;
  std::function<void(const UILocalNotification&)> notificationListener_;
  std::function<void(const UIAlertView&)> alertListener_;
  LocalNotifications localNotifications_;
};

}  // namespace ks
