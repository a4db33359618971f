#include "BeaconSDK/Platform/Common/ScheduledNotificationCenter.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace ks {

namespace {

Error makeError(UNError code, std::string description) {
  return {UNErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

std::shared_ptr<const Data> contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return nullptr;
  auto data =
      std::make_shared<Data>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  if (in.bad()) return nullptr;
  return data;
}

}  // namespace

ScheduledNotificationCenter::ScheduledNotificationCenter(DispatchQueue& mainQueue,
                                                         const Clock& clock,
                                                         std::size_t mostDelivered)
    : mainQueue_(mainQueue), clock_(clock), mostDelivered_(mostDelivered) {}

ScheduledNotificationCenter::~ScheduledNotificationCenter() {
  for (const Pending& pending : pending_) mainQueue_.cancel(pending.timer);
}

void ScheduledNotificationCenter::addNotificationRequest(
    UNNotificationRequest request, std::function<void(const std::optional<Error>&)> completion) {
  auto error = accept(std::move(request));
  if (!completion) return;
  mainQueue_.async(
      [completion = std::move(completion), error = std::move(error)] { completion(error); });
}

std::optional<Error> ScheduledNotificationCenter::accept(UNNotificationRequest request) {
  if (!allowed_) {
    return makeError(UNError::notificationsNotAllowed, "Notifications are not allowed");
  }
  const auto& trigger = request.trigger;
  if (!(trigger.timeInterval.count() > 0) ||
      (trigger.repeats && trigger.timeInterval < kShortestNotificationRepeat)) {
    return makeError(UNError::notificationInvalidNoDate,
                     "The trigger's time interval is too short");
  }
  Notification notification;
  for (const auto& attachment : request.content.attachments) {
    auto content = contentOf(attachment.file);
    if (content == nullptr) {
      return makeError(UNError::attachmentInvalidURL,
                       "Attachment cannot be read: " + attachment.file.string());
    }
    notification.attachments.push_back(std::move(content));
  }
  notification.request = std::move(request);
  schedule(std::move(notification));
  return std::nullopt;
}

void ScheduledNotificationCenter::schedule(Notification notification) {
  const std::string identifier = notification.request.identifier;
  std::erase_if(pending_, [&](const Pending& pending) {
    if (pending.notification.request.identifier != identifier) return false;
    mainQueue_.cancel(pending.timer);
    return true;
  });
  const Seconds delay = notification.request.trigger.timeInterval;
  notification.date = clock_.now() + delay;
  const TimerId timer = mainQueue_.after(delay, [this, identifier] { deliver(identifier); });
  pending_.push_back({timer, std::move(notification)});
}

void ScheduledNotificationCenter::deliver(const std::string& identifier) {
  const auto found = std::ranges::find_if(pending_, [&](const Pending& pending) {
    return pending.notification.request.identifier == identifier;
  });
  const Notification notification = std::move(found->notification);
  pending_.erase(found);
  if (notification.request.trigger.repeats) schedule(notification);
  delivered_.push_back(notification);
  if (delivered_.size() > mostDelivered_) delivered_.pop_front();
  if (listener_) listener_(notification);
}

std::vector<ScheduledNotificationCenter::Notification>
ScheduledNotificationCenter::pendingNotifications() const {
  std::vector<Notification> notifications;
  for (const Pending& pending : pending_) notifications.push_back(pending.notification);
  return notifications;
}

}  // namespace ks
