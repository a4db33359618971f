#pragma once

#include <optional>

#include "BeaconSDK/Platform/Api/Date.h"

/// Where the engine stands in its life, and the two values of it that survive in the user defaults.
/// Both are written through at once.
struct KSEngineState {
  bool started = false;
  bool starting = false;
  /// A start without permission has fetched the categories; further ones do not.
  bool justLoaded = false;

  static std::optional<ks::Date> lastLocationsRefreshDate();
  static void setLastLocationsRefreshDate(std::optional<ks::Date> date);
  static bool errorHappened();
  static void setErrorHappened(bool flag);
};
