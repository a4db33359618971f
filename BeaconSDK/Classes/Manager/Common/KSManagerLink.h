#pragma once

#include <memory>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// A weak reference to the manager that owns the rooms. Notifications are posted with the manager
/// as their object.
class KSManagerLink {
 public:
  KSManagerLink(ks::DispatchQueue& mainQueue, ks::NSNotificationCenter& notificationCenter)
      : mainQueue_(mainQueue), notificationCenter_(notificationCenter) {}

  void setManager(std::weak_ptr<const ks::Object> manager) { manager_ = std::move(manager); }

  /// Wraps `task` so that it does nothing after the manager was destroyed, and keeps the manager
  /// alive while it runs. For callbacks on the main queue only: the manager may end with the task.
  template <class Task>
  auto whileAlive(Task task) const {
    return [manager = manager_, task = std::move(task)](auto&&... arguments) {
      if (const auto alive = manager.lock()) task(std::forward<decltype(arguments)>(arguments)...);
    };
  }

  /// Posts asynchronously on the main queue, unless the manager is destroyed by then.
  void postOnMainQueue(std::string name, ks::Dictionary userInfo) const;
  /// Posts immediately, on the calling thread.
  void post(std::string name, ks::Dictionary userInfo) const;

 private:
  ks::DispatchQueue& mainQueue_;
  ks::NSNotificationCenter& notificationCenter_;
  std::weak_ptr<const ks::Object> manager_;
};
