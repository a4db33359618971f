#include "BeaconSDK/Platform/Simulated/SimulatedApplication.h"

namespace ks {

UIBackgroundTaskIdentifier SimulatedApplication::beginBackgroundTask(
    std::function<void()> expirationHandler) {
  if (refusesBackgroundTasks_) return UIBackgroundTaskInvalid;
  return DeviceApplication::beginBackgroundTask(std::move(expirationHandler));
}

std::vector<UIBackgroundTaskIdentifier> SimulatedApplication::backgroundTasks() const {
  std::vector<UIBackgroundTaskIdentifier> tasks;
  for (const auto& [task, handler] : runningTasks()) tasks.push_back(task);
  return tasks;
}

void SimulatedApplication::present(const UILocalNotification& notification) {
  deliveredNotifications_.push_back(notification);
  if (notificationListener_) notificationListener_(notification);
}

void SimulatedApplication::showAlertView(const UIAlertView& alert) {
  alerts_.push_back(alert);
  if (alertListener_) alertListener_(alert);
}

}  // namespace ks
