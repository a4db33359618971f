#include "BeaconSDK/Platform/Linux/Notifications/DesktopNotificationCenter.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ks {

namespace {

/// Between two attempts with a service that does not answer.
constexpr Seconds kRetry{10};

bool contains(const std::vector<std::string>& identifiers, const std::string& identifier) {
  return std::find(identifiers.begin(), identifiers.end(), identifier) != identifiers.end();
}

}  // namespace

DesktopNotificationCenter::DesktopNotificationCenter(const LinuxServiceContext& context)
    : clock_(context.clock),
      mainQueue_(context.mainQueue),
      store_(context.directories.temporary / "notifications"),
      service_(context.mainQueue, context.console, context.applicationName,
               context.bundleIdentifier,
               {.presenceChanged = [this](bool usable) { presenceChanged(usable); },
                .opened = [this](auto number, const auto& token) { opened(number, token); },
                .closed =
                    [this](auto number) {
                      const auto found = findDelivered(number);
                      if (found != delivered_.end()) delivered_.erase(found);
                    }}) {}

void DesktopNotificationCenter::addNotificationRequest(
    UNNotificationRequest request, std::function<void(const std::optional<Error>&)> completion) {
  auto error = accept(std::move(request));
  if (!completion) return;
  mainQueue_.async(
      [completion = std::move(completion), error = std::move(error)] { completion(error); });
}

std::optional<Error> DesktopNotificationCenter::accept(UNNotificationRequest request) {
  if (auto error = refusal()) return error;
  const auto& trigger = request.trigger;
  if (!(trigger.timeInterval.count() > 0) ||
      (trigger.repeats && trigger.timeInterval < kShortestNotificationRepeat)) {
    return notificationError(UNError::notificationInvalidNoDate,
                             "The trigger's time interval is too short");
  }
  auto pictures = store_.take(request.content.attachments);
  if (!pictures) return pictures.error();
  removePendingNotificationRequests({request.identifier});
  schedule(std::move(request), std::move(pictures.value()));
  return std::nullopt;
}

std::optional<Error> DesktopNotificationCenter::refusal() {
  const bool isFull = pending_.size() >= kMostPending;
  if (service_.mayBeUsable() && !isFull) return std::nullopt;
  const std::string reason = isFull ? "too many wait already" : service_.state().detail;
  service_.tellTrouble(reason);
  return notificationError(UNError::notificationsNotAllowed,
                           "Notifications cannot be shown: " + reason);
}

void DesktopNotificationCenter::present(const UILocalNotification& notification) {
  if (refusal()) return;
  UNNotificationRequest request;
  request.identifier = "localNotification" + std::to_string(++lastLocal_);
  request.content.body = notification.alertBody;
  request.content.defaultSound = notification.defaultSound;
  request.content.userInfo = notification.userInfo;
  fallDue(add(std::move(request), std::make_shared<const NotificationPictures>()));
}

DesktopNotificationCenter::PendingList::iterator DesktopNotificationCenter::add(
    UNNotificationRequest request, Pictures pictures) {
  Pending& added = pending_.emplace_back();
  added.request = std::move(request);
  added.pictures = std::move(pictures);
  return std::prev(pending_.end());
}

void DesktopNotificationCenter::schedule(UNNotificationRequest request, Pictures pictures) {
  const Seconds delay = request.trigger.timeInterval;
  const auto added = add(std::move(request), std::move(pictures));
  added->trigger.arm(mainQueue_, delay, [this, added] {
    if (added->request.trigger.repeats) schedule(added->request, added->pictures);
    fallDue(added);
  });
}

void DesktopNotificationCenter::fallDue(PendingList::iterator pending) {
  pending->stage = Stage::due;
  pending->dueSince = clock_.uptime();
  sendDue();
}

void DesktopNotificationCenter::sendDue() {
  dropLate();
  for (auto each = pending_.begin(); each != pending_.end(); ++each) {
    if (each->stage == Stage::due && !isOnItsWay(each->request.identifier)) send(each);
  }
}

void DesktopNotificationCenter::dropLate() {
  const Seconds now = clock_.uptime();
  const auto late = std::erase_if(pending_, [&](const Pending& each) {
    return each.stage == Stage::due && now - each.dueSince > kLongestDelay;
  });
  if (late > 0) service_.tellTrouble("the service did not come in time");
}

bool DesktopNotificationCenter::isOnItsWay(const std::string& identifier) const {
  return std::ranges::any_of(pending_, [&](const Pending& each) {
    return each.stage == Stage::sent && each.request.identifier == identifier;
  });
}

void DesktopNotificationCenter::send(PendingList::iterator pending) {
  pending->stage = Stage::sent;
  const auto& [identifier, content, trigger] = pending->request;
  const auto earlier = findDelivered(identifier);
  service_.show({content.title, content.body, content.defaultSound, pending->pictures->icon,
                 pending->pictures->image},
                earlier != delivered_.end() ? earlier->number : 0,
                [this, pending](auto outcome, auto number) { answered(pending, outcome, number); });
}

void DesktopNotificationCenter::answered(PendingList::iterator pending,
                                         NotificationService::Outcome outcome,
                                         NotificationService::Number number) {
  using Outcome = NotificationService::Outcome;
  if (outcome == Outcome::unavailable && !pending->isUnwanted) {
    pending->stage = Stage::due;
    if (!retry_.isArmed()) retry_.arm(mainQueue_, kRetry, [this] { sendDue(); });
    return;
  }
  std::optional<UNNotificationRequest> shown;
  if (outcome == Outcome::shown) {
    const auto earlier = findDelivered(pending->request.identifier);
    if (earlier != delivered_.end()) delivered_.erase(earlier);
    if (pending->isUnwanted) {
      service_.close(number);
    } else {
      shown = pending->request;
      delivered_.push_back({number, std::move(pending->request), std::move(pending->pictures)});
      if (delivered_.size() > kMostDelivered) delivered_.pop_front();
    }
  }
  pending_.erase(pending);
  sendDue();
  const DeliveryHandler tell = deliver_;
  if (shown && tell) tell(*shown);
}

void DesktopNotificationCenter::presenceChanged(bool usable) {
  // What came before belongs to an earlier life of the service.
  delivered_.clear();
  if (usable) sendDue();
}

void DesktopNotificationCenter::opened(NotificationService::Number number,
                                       const std::string& activationToken) {
  const auto found = findDelivered(number);
  if (found == delivered_.end()) return;
  const UNNotificationResponse response{std::move(found->request), activationToken};
  delivered_.erase(found);
  // Not every service does so by itself.
  service_.close(number);
  // The handler may replace itself.
  const ResponseHandler respond = respond_;
  if (respond) respond(response);
}

std::vector<UNNotificationRequest> DesktopNotificationCenter::pendingNotificationRequests() const {
  std::vector<UNNotificationRequest> requests;
  for (const Pending& each : pending_) {
    if (!each.isUnwanted) requests.push_back(each.request);
  }
  return requests;
}

std::vector<UNNotificationRequest> DesktopNotificationCenter::deliveredNotifications() const {
  std::vector<UNNotificationRequest> requests;
  for (const Delivered& each : delivered_) requests.push_back(each.request);
  return requests;
}

void DesktopNotificationCenter::removePendingNotificationRequests(
    const std::vector<std::string>& identifiers) {
  std::erase_if(pending_, [&](const Pending& each) {
    return each.stage != Stage::sent && contains(identifiers, each.request.identifier);
  });
}

void DesktopNotificationCenter::removeDeliveredNotifications(
    const std::vector<std::string>& identifiers) {
  for (Pending& each : pending_) {
    if (each.stage == Stage::sent && contains(identifiers, each.request.identifier)) {
      each.isUnwanted = true;
    }
  }
  std::erase_if(delivered_, [&](const Delivered& each) {
    if (!contains(identifiers, each.request.identifier)) return false;
    service_.close(each.number);
    return true;
  });
}

std::deque<DesktopNotificationCenter::Delivered>::iterator DesktopNotificationCenter::findDelivered(
    const std::string& identifier) {
  return std::ranges::find_if(
      delivered_, [&](const Delivered& each) { return each.request.identifier == identifier; });
}

std::deque<DesktopNotificationCenter::Delivered>::iterator DesktopNotificationCenter::findDelivered(
    NotificationService::Number number) {
  return std::ranges::find_if(delivered_,
                              [&](const Delivered& each) { return each.number == number; });
}

}  // namespace ks
