#pragma once

#include <memory>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// What the rooms know of the manager that owns them: whether it is still there, and that
/// notifications go out in its name.
class KSManagerLink {
 public:
  void setManager(std::weak_ptr<const ks::Object> manager) { manager_ = std::move(manager); }

  /// `task` wrapped so that it does nothing once the manager is gone, and so that the manager stays
  /// while it runs. For callbacks on the main queue only: the manager may end with the task.
  template <class Task>
  auto whileAlive(Task task) const {
    return [manager = manager_, task = std::move(task)](auto&&... arguments) {
      if (const auto alive = manager.lock()) task(std::forward<decltype(arguments)>(arguments)...);
    };
  }

  /// Posts from the main queue after the call has returned, unless the manager is gone by then.
  void postOnMainQueue(std::string name, ks::Dictionary userInfo) const;
  /// Posts at once, on the calling thread.
  void post(std::string name, ks::Dictionary userInfo) const;

 private:
  std::weak_ptr<const ks::Object> manager_;
};
