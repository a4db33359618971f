#pragma once

#include <functional>
#include <memory>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "BeaconSDK/Platform/Api/UIKit.h"

/// Waits for one zone's dwelling time, holding a background task so that the process keeps running.
/// Holds its zone weakly.
class KSDwellingNotificationToServerTask {
 public:
  using TimeUp = std::function<void(const KSDwellingNotificationToServerTask&)>;

  /// Starts the wait for `item`, which has content, at `now`. `timeUp` is called on `mainQueue` at
  /// its end unless the task is destroyed or stopped before, and may destroy the task.
  KSDwellingNotificationToServerTask(const std::shared_ptr<KSProximityZone>& item, ks::Date now,
                                     ks::DispatchQueue& mainQueue, ks::UIApplication& application,
                                     TimeUp timeUp);
  KSDwellingNotificationToServerTask(const KSDwellingNotificationToServerTask&) = delete;
  KSDwellingNotificationToServerTask& operator=(const KSDwellingNotificationToServerTask&) = delete;
  ~KSDwellingNotificationToServerTask() { stop(); }

  /// Calls `timeUp`.
  void execute();
  /// Ends the wait, if it still runs, and the background task.
  void stop();

  /// Null when the zone was destroyed.
  std::shared_ptr<KSProximityZone> item() const { return item_.lock(); }
  ks::Date begun() const { return begun_; }
  /// `UIBackgroundTaskInvalid` when none is held.
  ks::UIBackgroundTaskIdentifier taskIdentifier() const { return taskIdentifier_; }

 private:
  std::weak_ptr<KSProximityZone> item_;
  ks::Date begun_;
  ks::UIApplication& application_;
  TimeUp timeUp_;
  ks::UIBackgroundTaskIdentifier taskIdentifier_;
  ks::Alarm alarm_;
};
