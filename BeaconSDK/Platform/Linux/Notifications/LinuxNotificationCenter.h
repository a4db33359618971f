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
  /// Lets the host's window come to the front: XDG_ACTIVATION_TOKEN of the toolkit. Empty where the
  /// desktop gives none.
  std::string activationToken;
};

/// The desktop's notifications, with what only this platform's host may ask of them. Main queue
/// only.
class LinuxNotificationCenter : public UNUserNotificationCenter {
 public:
  /// Called when the user opens a notification, which is then gone; null for none. A content that
  /// is opened counts as an event of its zone: hand the zone to
  /// `KSProximityManager::incrementLoyaltyForProximityZone`.
  using ResponseHandler = std::function<void(const UNNotificationResponse&)>;
  virtual void setResponseHandler(ResponseHandler handler) = 0;

  /// Called when a notification is on the screen; null for none.
  using DeliveryHandler = std::function<void(const UNNotificationRequest&)>;
  virtual void setDeliveryHandler(DeliveryHandler handler) = 0;

  /// Shows the older kind of notification at once; it replaces no other.
  virtual void present(const UILocalNotification& notification) = 0;

  /// Accepted and not yet shown, in the order in which they were added.
  virtual std::vector<UNNotificationRequest> pendingNotificationRequests() const = 0;
  /// Shown and not yet closed, oldest first.
  virtual std::vector<UNNotificationRequest> deliveredNotifications() const = 0;
  /// Unknown identifiers are ignored.
  virtual void removePendingNotificationRequests(const std::vector<std::string>& identifiers) = 0;
  virtual void removeDeliveredNotifications(const std::vector<std::string>& identifiers) = 0;

  virtual ServiceState state() const = 0;
};

}  // namespace ks
