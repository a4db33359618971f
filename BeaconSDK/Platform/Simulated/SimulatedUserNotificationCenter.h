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

/// A notification centre that shows notifications to its listeners, when virtual time comes to
/// their trigger. Pending requests end with the process. Main queue only.
class SimulatedUserNotificationCenter : public UNUserNotificationCenter {
 public:
  /// The oldest delivered notifications go first.
  static constexpr std::size_t kMostDelivered = 1000;

  struct Notification {
    Date date;
    UNNotificationRequest request;
    /// The bytes of each attachment, read when the request was added.
    std::vector<std::shared_ptr<const Data>> attachments;
  };

  SimulatedUserNotificationCenter(DispatchQueue& mainQueue, const Clock& clock);
  SimulatedUserNotificationCenter(const SimulatedUserNotificationCenter&) = delete;
  SimulatedUserNotificationCenter& operator=(const SimulatedUserNotificationCenter&) = delete;
  ~SimulatedUserNotificationCenter() override;

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
  bool allowed_ = true;
  std::vector<Pending> pending_;
  std::deque<Notification> delivered_;
  std::function<void(const Notification&)> listener_;
};

}  // namespace ks
