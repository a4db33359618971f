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

/// A notification centre that hands notifications to its listener when their trigger falls due, for
/// devices whose host shows them. Pending requests end with the process. Main queue only.
class ScheduledNotificationCenter : public UNUserNotificationCenter {
 public:
  /// Maximum number of delivered notifications kept; the oldest go first.
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

  /// Refused with an error: when not allowed, when an attachment cannot be read, when the trigger
  /// could not be met.
  void addNotificationRequest(UNNotificationRequest request,
                              std::function<void(const std::optional<Error>&)> completion) override;

  /// The user's permission; given at first.
  void setAllowed(bool flag) { allowed_ = flag; }
  /// In the order in which they were added; the date is when each will be shown.
  std::vector<Notification> pendingNotifications() const;
  const std::deque<Notification>& deliveredNotifications() const { return delivered_; }
  /// Called as each notification is shown; null for none.
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
