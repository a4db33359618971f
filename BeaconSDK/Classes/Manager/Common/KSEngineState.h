#pragma once

#include <optional>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

/// The state of the engine's life cycle, and the two values of it that are stored in the user
/// defaults, immediately on each change.
class KSEngineState {
 public:
  /// Keys of the user defaults.
  static constexpr const char* kLastLocationsRefreshDateKey = "KSLastLocationsRefreshDate";
  static constexpr const char* kErrorHappenedKey = "ErrorHappened";

  explicit KSEngineState(ks::NSUserDefaults& defaults) : defaults_(defaults) {}

  bool started = false;
  bool starting = false;
  /// A start without permission has fetched the categories; further ones do not.
  bool justLoaded = false;

  std::optional<ks::Date> lastLocationsRefreshDate() const;
  void setLastLocationsRefreshDate(std::optional<ks::Date> date);
  bool errorHappened() const;
  void setErrorHappened(bool flag);

 private:
  void store(const char* key, ks::Value value);

  ks::NSUserDefaults& defaults_;
};
