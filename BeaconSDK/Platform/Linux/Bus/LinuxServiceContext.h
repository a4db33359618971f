#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"

namespace ks {

/// What the platform gives to each service that it makes. Everything outlives the services.
///
/// Services are made, used and destroyed on the main thread, whose default main context runs their
/// callbacks. None of them blocks.
struct LinuxServiceContext {
  Clock& clock;
  DispatchQueue& mainQueue;
  Console& console;
  NSNotificationCenter& notificationCenter;
  /// Fed with advertisements and positions.
  LocationEngine& location;
  const Directories& directories;
  /// Shown to people: "ksbeacon".
  const std::string& applicationName;
  const std::string& bundleIdentifier;
};

}  // namespace ks
