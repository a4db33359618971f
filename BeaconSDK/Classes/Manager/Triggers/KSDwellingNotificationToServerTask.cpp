#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingNotificationToServerTask.h"

#include <utility>

KSDwellingNotificationToServerTask::KSDwellingNotificationToServerTask(
    const std::shared_ptr<KSProximityZone>& item, ks::Date now, ks::DispatchQueue& mainQueue,
    ks::UIApplication& application, TimeUp timeUp)
    : item_(item),
      begun_(now),
      application_(application),
      timeUp_(std::move(timeUp)),
      taskIdentifier_(application.beginBackgroundTask([] {})),
      alarm_(mainQueue) {
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
  if (task != ks::UIBackgroundTaskInvalid) application_.endBackgroundTask(task);
}
