#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Api/UserNotifications.h"
#include "BeaconSDK/Platform/Recorded/Outside.h"

namespace ks {

/// The application and the notifications of an enclosed device: the library's requests are passed
/// outside. Main queue only.
class EnclosedApplication : public UIApplication, public UNUserNotificationCenter {
 public:
  EnclosedApplication(Outside& outside, std::shared_ptr<OutsideLink> link)
      : outside_(outside), link_(std::move(link)) {}

  void setMinimumBackgroundFetchInterval(Seconds interval) override;
  UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void endBackgroundTask(UIBackgroundTaskIdentifier task) override;
  void scheduleLocalNotification(UILocalNotification notification) override;
  void cancelAllLocalNotifications() override;
  void showAlertView(const UIAlertView& alert) override;
  void addNotificationRequest(UNNotificationRequest request,
                              std::function<void(const std::optional<Error>&)> completion) override;

  /// Delivers a notification that was added, or a background task that expires, in a task of
  /// `queue`.
  void deliver(const RecordedEvent& event, DispatchQueue& queue);

 private:
  struct BackgroundTask {
    std::function<void()> expirationHandler;
    /// Identifier in the real application.
    UIBackgroundTaskIdentifier inner = UIBackgroundTaskInvalid;
  };

  Outside& outside_;
  std::shared_ptr<OutsideLink> link_;
  UIBackgroundTaskIdentifier lastTask_ = UIBackgroundTaskInvalid;
  std::map<UIBackgroundTaskIdentifier, BackgroundTask> tasks_;
  std::uint64_t lastRequest_ = 0;
  std::map<std::uint64_t, std::function<void(const std::optional<Error>&)>> completions_;
};

}  // namespace ks
