#pragma once

#include <functional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Api/UserNotifications.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"

namespace ks {

/// The user opened a notification.
struct UNNotificationResponse {
  UNNotificationRequest request;
  /// XDG_ACTIVATION_TOKEN with which the host's toolkit may raise its window; may be empty.
  std::string activationToken;
};

/// The desktop's notifications, with operations for the host. Main queue only.
class LinuxNotificationCenter : public UNUserNotificationCenter {
 public:
  /// Called when the user opens a notification, which is then removed; may be null. An opened
  /// content counts as an event of its zone: pass the zone to
  /// `KSProximityManager::incrementLoyaltyForProximityZone`.
  using ResponseHandler = std::function<void(const UNNotificationResponse&)>;
  virtual void setResponseHandler(ResponseHandler handler) = 0;

  /// Called when a notification is shown; may be null.
  using DeliveryHandler = std::function<void(const UNNotificationRequest&)>;
  virtual void setDeliveryHandler(DeliveryHandler handler) = 0;

  /// Shows the older kind of notification immediately; it replaces no other.
  virtual void present(const UILocalNotification& notification) = 0;

  /// Returns the accepted and not yet shown requests, in the order in which they were added.
  virtual std::vector<UNNotificationRequest> pendingNotificationRequests() const = 0;
  /// Returns the shown and not yet closed requests, oldest first.
  virtual std::vector<UNNotificationRequest> deliveredNotifications() const = 0;
  /// Both ignore unknown identifiers.
  virtual void removePendingNotificationRequests(const std::vector<std::string>& identifiers) = 0;
  virtual void removeDeliveredNotifications(const std::vector<std::string>& identifiers) = 0;

  virtual ServiceState state() const = 0;
};

}  // namespace ks
