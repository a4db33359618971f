#pragma once

#include <functional>
#include <map>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UIKit.h"

namespace ks {

/// Schedules local notifications of the older kind and presents each when its delay has passed.
/// Destruction cancels pending ones. Main queue only.
class LocalNotifications {
 public:
  using Presenter = std::function<void(const UILocalNotification&)>;

  LocalNotifications(DispatchQueue& mainQueue, Presenter present);
  LocalNotifications(const LocalNotifications&) = delete;
  LocalNotifications& operator=(const LocalNotifications&) = delete;
  ~LocalNotifications() { cancelAll(); }

  void schedule(UILocalNotification notification);
  void cancelAll();
  /// Returns the pending notifications in the order in which they were scheduled.
  std::vector<UILocalNotification> pending() const;

 private:
  DispatchQueue& mainQueue_;
  Presenter present_;
  std::map<TimerId, UILocalNotification> pending_;
};

}  // namespace ks
