#pragma once

#include <memory>
#include <utility>

#include "BeaconSDK/Classes/Manager/Common/KSEngineObserver.h"

/// Where the rooms find whoever watches the engine.
class KSObserverSlot {
 public:
  void set(std::weak_ptr<KSEngineObserver> observer) { observer_ = std::move(observer); }
  /// Null when nobody watches.
  std::shared_ptr<KSEngineObserver> get() const { return observer_.lock(); }

 private:
  std::weak_ptr<KSEngineObserver> observer_;
};
