#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingNotificationToServerTask.h"

#include <utility>

#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

ks::UIApplication& application() { return ks::Platform::current().application(); }

}  // namespace

KSDwellingNotificationToServerTask::KSDwellingNotificationToServerTask(
    const std::shared_ptr<KSProximityZone>& item, TimeUp timeUp)
    : item_(item),
      timeUp_(std::move(timeUp)),
      begun_(ks::Platform::current().clock().now()),
      taskIdentifier_(application().beginBackgroundTask([] {})) {
  alarm_.schedule(ks::Seconds(item->content()->dwellingTime), [this] { execute(); });
}

void KSDwellingNotificationToServerTask::execute() {
  // The call may destroy this task, and with it the member.
  const auto timeUp = std::move(timeUp_);
  timeUp(*this);
}

void KSDwellingNotificationToServerTask::stop() {
  alarm_.invalidate();
  const auto task = std::exchange(taskIdentifier_, ks::UIBackgroundTaskInvalid);
  if (task != ks::UIBackgroundTaskInvalid) application().endBackgroundTask(task);
}
