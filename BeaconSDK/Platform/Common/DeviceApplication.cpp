#include "BeaconSDK/Platform/Common/DeviceApplication.h"

#include <utility>

namespace ks {

DeviceApplication::DeviceApplication(DispatchQueue& mainQueue, NSNotificationCenter& center)
    : mainQueue_(mainQueue),
      center_(center),
      localNotifications_(mainQueue, [this](const UILocalNotification& due) { present(due); }) {}

UIBackgroundTaskIdentifier DeviceApplication::beginBackgroundTask(
    std::function<void()> expirationHandler) {
  backgroundTasks_.emplace(++lastBackgroundTask_, std::move(expirationHandler));
  backgroundWorkChanged(true);
  return lastBackgroundTask_;
}

void DeviceApplication::endBackgroundTask(UIBackgroundTaskIdentifier task) {
  if (backgroundTasks_.erase(task) > 0 && backgroundTasks_.empty()) backgroundWorkChanged(false);
}

void DeviceApplication::expireBackgroundTasks() {
  for (const auto& [task, handler] : backgroundTasks_) {
    if (!handler) continue;
    mainQueue_.async([this, task = task, handler = handler, alive = lifetime()] {
      if (!alive.expired() && backgroundTasks_.contains(task)) handler();
    });
  }
}

void DeviceApplication::showAlertView(const UIAlertView& alert) {
  UILocalNotification notification;
  notification.alertBody = alert.message.empty() ? alert.title : alert.title + "\n" + alert.message;
  present(notification);
}

void DeviceApplication::setActive(bool active) {
  if (std::exchange(active_, active) == active) return;
  const char* const name =
      active ? UIApplicationDidBecomeActiveNotification : UIApplicationWillResignActiveNotification;
  mainQueue_.async([this, name, alive = lifetime()] {
    if (!alive.expired()) center_.post({name, nullptr, {}});
  });
}

}  // namespace ks
