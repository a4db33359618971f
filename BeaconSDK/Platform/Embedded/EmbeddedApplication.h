#pragma once

#include <functional>
#include <map>
#include <optional>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Common/LocalNotifications.h"

namespace ks {

/// The application of an embedded device: the host reports when it is in front, shows notifications
/// and alerts, and can query whether background work is running. Main queue only.
class EmbeddedApplication : public UIApplication {
 public:
  using Presenter = LocalNotifications::Presenter;

  EmbeddedApplication(DispatchQueue& mainQueue, NSNotificationCenter& center);

  /// The interval at which the host should call the library's background-fetch hook.
  void setMinimumBackgroundFetchInterval(Seconds interval) override { fetchInterval_ = interval; }
  std::optional<Seconds> minimumBackgroundFetchInterval() const { return fetchInterval_; }
  UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void endBackgroundTask(UIBackgroundTaskIdentifier task) override;
  void scheduleLocalNotification(UILocalNotification notification) override {
    localNotifications_.schedule(std::move(notification));
  }
  void cancelAllLocalNotifications() override { localNotifications_.cancelAll(); }
  /// Presented like a local notification without user information.
  void showAlertView(const UIAlertView& alert) override;

  /// Each posts its notification asynchronously on the main queue, unless already in that state.
  /// Initially inactive.
  void becomeActive();
  void resignActive();
  bool isActive() const { return active_; }

  /// True while the host should keep the process running.
  bool hasBackgroundWork() const { return !backgroundTasks_.empty(); }
  /// Expires every background task; call before the process is stopped.
  void expireBackgroundTasks();
  /// Sets the function called with each local notification and alert that is due; may be null.
  void setPresenter(Presenter presenter) { presenter_ = std::move(presenter); }

 private:
  void postSoon(const char* name);
  void present(const UILocalNotification& notification) const;

  DispatchQueue& mainQueue_;
  NSNotificationCenter& center_;
  Presenter presenter_;
  bool active_ = false;
  std::optional<Seconds> fetchInterval_;
  UIBackgroundTaskIdentifier lastBackgroundTask_ = UIBackgroundTaskInvalid;
  std::map<UIBackgroundTaskIdentifier, std::function<void()>> backgroundTasks_;
  LocalNotifications localNotifications_;
};

}  // namespace ks
