#include "BeaconSDK/Platform/Recorded/EnclosedApplication.h"

#include <utility>

namespace ks {

namespace {

using Kind = RecordedEvent::Kind;

}  // namespace

void EnclosedApplication::setMinimumBackgroundFetchInterval(Seconds interval) {
  if (Platform* const device = outside_.realDevice()) {
    device->application().setMinimumBackgroundFetchInterval(interval);
  }
}

UIBackgroundTaskIdentifier EnclosedApplication::beginBackgroundTask(
    std::function<void()> expirationHandler) {
  const UIBackgroundTaskIdentifier task = ++lastTask_;
  UIBackgroundTaskIdentifier inner = UIBackgroundTaskInvalid;
  const Value granted = outside_.answer("background task", [&] {
    inner = outside_.realDevice()->application().beginBackgroundTask([link = link_, task] {
      if (link->outside != nullptr)
        link->outside->enter(eventOf(Kind::backgroundTaskExpired, task));
    });
    return Value(inner != UIBackgroundTaskInvalid);
  });
  if (!granted.boolValue()) return UIBackgroundTaskInvalid;
  tasks_[task] = {std::move(expirationHandler), inner};
  return task;
}

void EnclosedApplication::endBackgroundTask(UIBackgroundTaskIdentifier task) {
  const auto node = tasks_.extract(task);
  Platform* const device = outside_.realDevice();
  if (!node.empty() && device != nullptr) {
    device->application().endBackgroundTask(node.mapped().inner);
  }
}

void EnclosedApplication::scheduleLocalNotification(UILocalNotification notification) {
  if (Platform* const device = outside_.realDevice()) {
    device->application().scheduleLocalNotification(std::move(notification));
  }
}

void EnclosedApplication::cancelAllLocalNotifications() {
  if (Platform* const device = outside_.realDevice()) {
    device->application().cancelAllLocalNotifications();
  }
}

void EnclosedApplication::showAlertView(const UIAlertView& alert) {
  if (Platform* const device = outside_.realDevice()) device->application().showAlertView(alert);
}

void EnclosedApplication::addNotificationRequest(
    UNNotificationRequest request, std::function<void(const std::optional<Error>&)> completion) {
  const std::uint64_t number = ++lastRequest_;
  completions_[number] = std::move(completion);
  Platform* const device = outside_.realDevice();
  if (device == nullptr) return;
  device->userNotificationCenter()->addNotificationRequest(
      std::move(request), [link = link_, number](const std::optional<Error>& error) {
        if (link->outside == nullptr) return;
        Dictionary details;
        if (error) {
          details = {{"domain", error->domain()},
                     {"code", error->code()},
                     {"text", error->localizedDescription()}};
        }
        link->outside->enter(eventOf(Kind::notificationAdded, number, std::move(details)));
      });
}

void EnclosedApplication::deliver(const RecordedEvent& event, DispatchQueue& queue) {
  if (event.kind == Kind::backgroundTaskExpired) {
    const auto found = tasks_.find(event.subject);
    if (found != tasks_.end() && found->second.expirationHandler) {
      queue.async(found->second.expirationHandler);
    }
    return;
  }
  auto node = completions_.extract(event.subject);
  if (node.empty()) return outside_.departed("a notification was shown that was not asked for");
  if (!node.mapped()) return;
  std::optional<Error> error;
  if (!event.details.empty()) {
    error.emplace(event.details["domain"].stringValue().value_or(""),
                  event.details["code"].integerValue(),
                  event.details["text"].stringValue().value_or(""));
  }
  queue.async([completion = std::move(node.mapped()), error] { completion(error); });
}

}  // namespace ks
