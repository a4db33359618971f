#pragma once

#include <string_view>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// The folder "KSProximityManager" of the user's caches, and the archives in it.
class KSCacheFolder {
 public:
  explicit KSCacheFolder(const KSObserverSlot& observer) : observer_(observer) {}

  /// Makes the folder with its parents; false when that fails.
  static bool create();
  /// What the file holds; absent when it is missing or damaged.
  ks::Value load(std::string_view fileName) const;
  /// Replaces the file. A failure is told to the observer and otherwise ignored: the engine goes on
  /// with what it has in memory.
  void save(std::string_view fileName, const ks::Value& root) const;

 private:
  const KSObserverSlot& observer_;
};
