#include "BeaconSDK/Platform/Simulated/SimulatedApplication.h"

#include <utility>

namespace ks {

SimulatedApplication::SimulatedApplication(DispatchQueue& mainQueue, NSNotificationCenter& center)
    : mainQueue_(mainQueue),
      center_(center),
      localNotifications_(mainQueue, [this](const UILocalNotification& due) { deliver(due); }) {}

UIBackgroundTaskIdentifier SimulatedApplication::beginBackgroundTask(
    std::function<void()> expirationHandler) {
  if (refusesBackgroundTasks_) return UIBackgroundTaskInvalid;
  backgroundTasks_.emplace(++lastBackgroundTask_, std::move(expirationHandler));
  return lastBackgroundTask_;
}

void SimulatedApplication::endBackgroundTask(UIBackgroundTaskIdentifier task) {
  backgroundTasks_.erase(task);
}

std::vector<UIBackgroundTaskIdentifier> SimulatedApplication::backgroundTasks() const {
  std::vector<UIBackgroundTaskIdentifier> tasks;
  for (const auto& [task, handler] : backgroundTasks_) tasks.push_back(task);
  return tasks;
}

void SimulatedApplication::expireBackgroundTasks() {
  for (const auto& [task, handler] : backgroundTasks_) {
    if (handler) mainQueue_.async(handler);
  }
}

void SimulatedApplication::deliver(const UILocalNotification& notification) {
  deliveredNotifications_.push_back(notification);
  if (notificationListener_) notificationListener_(notification);
}

void SimulatedApplication::showAlertView(const UIAlertView& alert) {
  alerts_.push_back(alert);
  if (alertListener_) alertListener_(alert);
}

void SimulatedApplication::becomeActive() {
  if (!std::exchange(active_, true)) postSoon(UIApplicationDidBecomeActiveNotification);
}

void SimulatedApplication::resignActive() {
  if (std::exchange(active_, false)) postSoon(UIApplicationWillResignActiveNotification);
}

void SimulatedApplication::postSoon(const char* name) {
  mainQueue_.async([this, name] { center_.post({name, nullptr, {}}); });
}

}  // namespace ks
