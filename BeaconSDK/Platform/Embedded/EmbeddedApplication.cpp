#include "BeaconSDK/Platform/Embedded/EmbeddedApplication.h"

#include <utility>

namespace ks {

EmbeddedApplication::EmbeddedApplication(DispatchQueue& mainQueue, NSNotificationCenter& center)
    : mainQueue_(mainQueue),
      center_(center),
      localNotifications_(mainQueue, [this](const UILocalNotification& due) { present(due); }) {}

UIBackgroundTaskIdentifier EmbeddedApplication::beginBackgroundTask(
    std::function<void()> expirationHandler) {
  backgroundTasks_.emplace(++lastBackgroundTask_, std::move(expirationHandler));
  return lastBackgroundTask_;
}

void EmbeddedApplication::endBackgroundTask(UIBackgroundTaskIdentifier task) {
  backgroundTasks_.erase(task);
}

void EmbeddedApplication::expireBackgroundTasks() {
  for (const auto& [task, handler] : backgroundTasks_) {
    if (handler) mainQueue_.async(handler);
  }
}

void EmbeddedApplication::showAlertView(const UIAlertView& alert) {
  UILocalNotification notification;
  notification.alertBody = alert.message.empty() ? alert.title : alert.title + "\n" + alert.message;
  present(notification);
}

void EmbeddedApplication::becomeActive() {
  if (!std::exchange(active_, true)) postSoon(UIApplicationDidBecomeActiveNotification);
}

void EmbeddedApplication::resignActive() {
  if (std::exchange(active_, false)) postSoon(UIApplicationWillResignActiveNotification);
}

void EmbeddedApplication::postSoon(const char* name) {
  mainQueue_.async([&center = center_, name] { center.post({name, nullptr, {}}); });
}

void EmbeddedApplication::present(const UILocalNotification& notification) const {
  if (presenter_) presenter_(notification);
}

}  // namespace ks
