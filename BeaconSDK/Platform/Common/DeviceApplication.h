#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Common/LocalNotifications.h"

namespace ks {

/// What the host applications of all devices share: background tasks, local notifications, and the
/// notifications of becoming active and inactive. Initially inactive. Main queue only.
class DeviceApplication : public UIApplication {
 public:
  void setMinimumBackgroundFetchInterval(Seconds interval) override { fetchInterval_ = interval; }
  /// The interval at which the host should call the library's background-fetch hook.
  std::optional<Seconds> minimumBackgroundFetchInterval() const { return fetchInterval_; }
  UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void endBackgroundTask(UIBackgroundTaskIdentifier task) override;
  void scheduleLocalNotification(UILocalNotification notification) override {
    localNotifications_.schedule(std::move(notification));
  }
  void cancelAllLocalNotifications() override { localNotifications_.cancelAll(); }
  /// Presented like a local notification without user information.
  void showAlertView(const UIAlertView& alert) override;

  bool isActive() const { return active_; }
  /// Expires every background task that has not ended when its turn comes, each in a task of the
  /// main queue; call before the process is stopped.
  void expireBackgroundTasks();

 protected:
  DeviceApplication(DispatchQueue& mainQueue, NSNotificationCenter& center);

  /// Posts the application's notification asynchronously, unless already in that state.
  void setActive(bool active);
  /// Shows a local notification that is due, or an alert.
  virtual void present(const UILocalNotification& notification) = 0;
  /// Called when a background task begins, and when the last one ends.
  virtual void backgroundWorkChanged(bool /*isRunning*/) {}

  using BackgroundTasks = std::map<UIBackgroundTaskIdentifier, std::function<void()>>;
  const BackgroundTasks& runningTasks() const { return backgroundTasks_; }
  const LocalNotifications& localNotifications() const { return localNotifications_; }
  /// Expires with the application, so that late callbacks can detect its end.
  std::weak_ptr<const bool> lifetime() const { return alive_; }

 private:
  DispatchQueue& mainQueue_;
  NSNotificationCenter& center_;
  bool active_ = false;
  std::optional<Seconds> fetchInterval_;
  UIBackgroundTaskIdentifier lastBackgroundTask_ = UIBackgroundTaskInvalid;
  BackgroundTasks backgroundTasks_;
  LocalNotifications localNotifications_;
  std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace ks
