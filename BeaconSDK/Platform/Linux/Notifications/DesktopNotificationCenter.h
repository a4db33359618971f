#pragma once

#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Linux/Bus/LinuxServiceContext.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"
#include "BeaconSDK/Platform/Linux/Notifications/NotificationPictures.h"
#include "BeaconSDK/Platform/Linux/Notifications/NotificationService.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// A notification centre on the desktop's service. Requests wait here for their trigger; what is
/// shown is remembered until it is closed, so that the next request of its identifier takes its
/// place and its opening can be told. A request whose service is away when it falls due waits for
/// it, for `kLongestDelay` at most. Pending requests end with the process.
class DesktopNotificationCenter : public LinuxNotificationCenter {
 public:
  /// No device of the platform keeps more.
  static constexpr std::size_t kMostPending = 64;
  /// The oldest delivered notifications are forgotten first; they stay on the screen.
  static constexpr std::size_t kMostDelivered = 100;
  /// Later than this, news of where somebody was are not news any more.
  static constexpr Seconds kLongestDelay{60};

  explicit DesktopNotificationCenter(const LinuxServiceContext& context);

  /// Refused with an error: when no service is there, when too many wait already, when an
  /// attachment cannot be taken, when the trigger could not be met.
  void addNotificationRequest(UNNotificationRequest request,
                              std::function<void(const std::optional<Error>&)> completion) override;
  void setResponseHandler(ResponseHandler handler) override { respond_ = std::move(handler); }
  void setDeliveryHandler(DeliveryHandler handler) override { deliver_ = std::move(handler); }
  void present(const UILocalNotification& notification) override;
  std::vector<UNNotificationRequest> pendingNotificationRequests() const override;
  std::vector<UNNotificationRequest> deliveredNotifications() const override;
  void removePendingNotificationRequests(const std::vector<std::string>& identifiers) override;
  void removeDeliveredNotifications(const std::vector<std::string>& identifiers) override;
  ServiceState state() const override { return service_.state(); }

 private:
  using Pictures = std::shared_ptr<const NotificationPictures>;
  enum class Stage {
    /// For its trigger.
    waiting,
    /// For a service, or for an earlier one of its identifier.
    due,
    sent,
  };
  struct Pending {
    UNNotificationRequest request;
    Pictures pictures;
    Stage stage = Stage::waiting;
    Seconds dueSince{0};
    /// Taken back while it was on its way.
    bool isUnwanted = false;
    Wakeup trigger;
  };
  struct Delivered {
    NotificationService::Number number;
    UNNotificationRequest request;
    Pictures pictures;
  };
  /// Nodes stay where they are: their timers and the service's answers find them there.
  using PendingList = std::list<Pending>;

  std::optional<Error> accept(UNNotificationRequest request);
  /// The error of a request that nobody could show, or that is one too many.
  std::optional<Error> refusal();
  PendingList::iterator add(UNNotificationRequest request, Pictures pictures);
  void schedule(UNNotificationRequest request, Pictures pictures);
  void fallDue(PendingList::iterator pending);
  void sendDue();
  void dropLate();
  void send(PendingList::iterator pending);
  void answered(PendingList::iterator pending, NotificationService::Outcome outcome,
                NotificationService::Number number);
  bool isOnItsWay(const std::string& identifier) const;
  std::deque<Delivered>::iterator findDelivered(const std::string& identifier);
  std::deque<Delivered>::iterator findDelivered(NotificationService::Number number);
  void presenceChanged(bool usable);
  void opened(NotificationService::Number number, const std::string& activationToken);

  Clock& clock_;
  DispatchQueue& mainQueue_;
  NotificationPictureStore store_;
  ResponseHandler respond_;
  DeliveryHandler deliver_;
  PendingList pending_;
  std::deque<Delivered> delivered_;
  std::uint64_t lastLocal_ = 0;
  /// Tries again with a service that is there and does not answer.
  Wakeup retry_;
  NotificationService service_;
};

}  // namespace ks
