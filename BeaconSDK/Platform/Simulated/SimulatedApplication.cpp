#include "BeaconSDK/Platform/Simulated/SimulatedApplication.h"

#include <memory>
#include <utility>

namespace ks {

SimulatedApplication::SimulatedApplication(DispatchQueue& mainQueue, NSNotificationCenter& center)
    : mainQueue_(mainQueue), center_(center) {}

SimulatedApplication::~SimulatedApplication() { cancelAllLocalNotifications(); }

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

void SimulatedApplication::scheduleLocalNotification(UILocalNotification notification) {
  // The timer learns its own name through the shared cell, which is filled before it can run.
  const auto timer = std::make_shared<TimerId>(0);
  *timer = mainQueue_.after(notification.fireAfter, [this, timer] {
    auto node = scheduledNotifications_.extract(*timer);
    if (node.empty()) return;
    deliveredNotifications_.push_back(std::move(node.mapped()));
    // The listener may itself cause deliveries, so it gets a copy.
    const UILocalNotification delivered = deliveredNotifications_.back();
    if (notificationListener_) notificationListener_(delivered);
  });
  scheduledNotifications_.emplace(*timer, std::move(notification));
}

void SimulatedApplication::cancelAllLocalNotifications() {
  for (const auto& [timer, notification] : std::exchange(scheduledNotifications_, {})) {
    mainQueue_.cancel(timer);
  }
}

std::vector<UILocalNotification> SimulatedApplication::scheduledLocalNotifications() const {
  std::vector<UILocalNotification> notifications;
  for (const auto& [timer, notification] : scheduledNotifications_) {
    notifications.push_back(notification);
  }
  return notifications;
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
