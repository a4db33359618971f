#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UserNotifications.h"

namespace ks {

/// A notification centre for devices whose host shows the notifications: calls a listener when a
/// trigger falls due. Pending requests end with the process. Main queue only.
class ScheduledNotificationCenter : public UNUserNotificationCenter {
 public:
  /// Maximum number of delivered notifications kept; the oldest are dropped.
  static constexpr std::size_t kMostDelivered = 1000;

  struct Notification {
    Date date;
    UNNotificationRequest request;
    /// The bytes of each attachment, read when the request was added.
    std::vector<std::shared_ptr<const Data>> attachments;
  };

  /// Keeps `mostDelivered` delivered notifications, with the bytes of their attachments.
  ScheduledNotificationCenter(DispatchQueue& mainQueue, const Clock& clock,
                              std::size_t mostDelivered = kMostDelivered);
  ScheduledNotificationCenter(const ScheduledNotificationCenter&) = delete;
  ScheduledNotificationCenter& operator=(const ScheduledNotificationCenter&) = delete;
  ~ScheduledNotificationCenter() override;

  /// Completes with an error if notifications are not allowed, an attachment cannot be read or the
  /// trigger cannot be met.
  void addNotificationRequest(UNNotificationRequest request,
                              std::function<void(const std::optional<Error>&)> completion) override;

  /// Sets the user's permission. Default: true.
  void setAllowed(bool flag) { allowed_ = flag; }
  /// Returns the pending notifications in the order in which they were added, with the date at
  /// which each will be shown.
  std::vector<Notification> pendingNotifications() const;
  const std::deque<Notification>& deliveredNotifications() const { return delivered_; }
  /// Sets the function called when a notification is shown; may be null.
  void setListener(std::function<void(const Notification&)> listener) {
    listener_ = std::move(listener);
  }

 private:
  struct Pending {
    TimerId timer;
    Notification notification;
  };

  std::optional<Error> accept(UNNotificationRequest request);
  void schedule(Notification notification);
  void deliver(const std::string& identifier);

  DispatchQueue& mainQueue_;
  const Clock& clock_;
  const std::size_t mostDelivered_;
  bool allowed_ = true;
  std::vector<Pending> pending_;
  std::deque<Notification> delivered_;
  std::function<void(const Notification&)> listener_;
};

}  // namespace ks
