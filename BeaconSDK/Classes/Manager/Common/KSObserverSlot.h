#pragma once

#include <memory>
#include <utility>

#include "BeaconSDK/Classes/Manager/Common/EngineObserver.h"

/// Weak reference to the engine observer.
class KSObserverSlot {
 public:
  void set(std::weak_ptr<ks::EngineObserver> observer) { observer_ = std::move(observer); }
  /// Null without an observer.
  std::shared_ptr<ks::EngineObserver> get() const { return observer_.lock(); }

 private:
  std::weak_ptr<ks::EngineObserver> observer_;
};
