#pragma once

#include <functional>
#include <map>
#include <optional>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Common/LocalNotifications.h"

namespace ks {

/// The host's application as the library sees it: the host says when it comes to the front, is
/// told what is to be shown, and learns whether background work is going on. Main queue only.
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

  /// Each posts its notification on the main queue, soon; nothing when already so. The application
  /// begins inactive.
  void becomeActive();
  void resignActive();
  bool isActive() const { return active_; }

  /// The host should let the process run on while this is true.
  bool hasBackgroundWork() const { return !backgroundTasks_.empty(); }
  /// Expires every background task, as before the process is stopped.
  void expireBackgroundTasks();
  /// Called with each local notification and alert that is due; null for none.
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
