#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Common/LocalNotifications.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

class SessionEvents;
class SleepInhibitor;

/// The host application on a Linux machine. Main queue only.
///
/// Active while its host says so, the session is unlocked and the machine is awake; initially
/// inactive. Background tasks inhibit sleep; if the machine sleeps all the same, they expire.
class LinuxApplication : public UIApplication {
 public:
  /// Runs the application's background work; the function that it receives must be called once, on
  /// the main queue, when the work is done.
  using FetchHandler = std::function<void(std::function<void(UIBackgroundFetchResult)>)>;
  /// Shows a message to the user.
  using Presenter = std::function<void(const UILocalNotification&)>;

  /// `applicationName` is shown by the session service as the reason why sleep is inhibited.
  LinuxApplication(Clock& clock, DispatchQueue& mainQueue, NSNotificationCenter& center,
                   Console& console, const std::string& applicationName);
  LinuxApplication(const LinuxApplication&) = delete;
  LinuxApplication& operator=(const LinuxApplication&) = delete;
  ~LinuxApplication() override;

  void setMinimumBackgroundFetchInterval(Seconds interval) override;
  UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void endBackgroundTask(UIBackgroundTaskIdentifier task) override;
  void scheduleLocalNotification(UILocalNotification notification) override {
    localNotifications_.schedule(std::move(notification));
  }
  void cancelAllLocalNotifications() override { localNotifications_.cancelAll(); }
  void showAlertView(const UIAlertView& alert) override;

  /// Call when the host came to the front, or went to the back.
  void becomeActive();
  void resignActive();
  bool isActive() const { return active_; }

  /// Sets the function called at the minimum interval, one run at a time; may be null.
  void setBackgroundFetchHandler(FetchHandler handler);
  /// Sets the function that shows local notifications and alerts, besides the log; may be null.
  void setPresenter(Presenter presenter) { presenter_ = std::move(presenter); }
  /// Expires every background task; call before the process ends.
  void expireBackgroundTasks();

  ServiceState state() const;

 private:
  void updateActive();
  void sleepChanged();
  void armFetch();
  void fetch();
  void present(const UILocalNotification& notification);

  Clock& clock_;
  DispatchQueue& mainQueue_;
  NSNotificationCenter& center_;
  Console& console_;
  Presenter presenter_;

  bool foreground_ = false;
  bool active_ = false;

  FetchHandler fetchHandler_;
  std::optional<Seconds> fetchInterval_;
  Date lastFetch_;
  bool fetching_ = false;
  Wakeup fetchTimer_;

  UIBackgroundTaskIdentifier lastBackgroundTask_ = UIBackgroundTaskInvalid;
  std::map<UIBackgroundTaskIdentifier, std::function<void()>> backgroundTasks_;
  LocalNotifications localNotifications_;
  /// Lets late callbacks detect that the application was destroyed.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);

  std::unique_ptr<SessionEvents> session_;
  std::unique_ptr<SleepInhibitor> inhibitor_;
};

}  // namespace ks
