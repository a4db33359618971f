#include "BeaconSDK/Platform/Common/LocalNotifications.h"

#include <memory>
#include <utility>

namespace ks {

LocalNotifications::LocalNotifications(DispatchQueue& mainQueue, Presenter present)
    : mainQueue_(mainQueue), present_(std::move(present)) {}

void LocalNotifications::schedule(UILocalNotification notification) {
  // The timer learns its own name through the shared cell, which is filled before it can run.
  const auto timer = std::make_shared<TimerId>(0);
  *timer = mainQueue_.after(notification.fireAfter, [this, timer] {
    const auto node = pending_.extract(*timer);
    if (!node.empty()) present_(node.mapped());
  });
  pending_.emplace(*timer, std::move(notification));
}

void LocalNotifications::cancelAll() {
  for (const auto& [timer, notification] : std::exchange(pending_, {})) mainQueue_.cancel(timer);
}

std::vector<UILocalNotification> LocalNotifications::pending() const {
  std::vector<UILocalNotification> notifications;
  for (const auto& [timer, notification] : pending_) notifications.push_back(notification);
  return notifications;
}

}  // namespace ks
