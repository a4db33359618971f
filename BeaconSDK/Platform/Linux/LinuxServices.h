#pragma once

#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"
#include "BeaconSDK/Platform/Location/LocationEngine.h"

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

/// A source of what the location engine asks for.
class LocationSource {
 public:
  virtual ~LocationSource() = default;
  /// Comes once after the source was made and on every change.
  virtual void locationDemandChanged(const LocationDemand& demand) = 0;
  virtual ServiceState state() const = 0;
};

/// The Bluetooth radio: feeds the location engine with advertisements and makes scanners.
class LinuxRadio : public LocationSource {
 public:
  /// The centrals may outlive the radio and are then inert.
  virtual std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) = 0;
};

/// Each makes the platform's service of its kind; null where the library was built without it.
std::unique_ptr<LinuxRadio> makeLinuxRadio(const LinuxServiceContext& context);
/// All sources of positions behind one; it also says whether the user permits them, through
/// `LocationEngine::setAuthorizationStatus`.
std::unique_ptr<LocationSource> makeLinuxPositions(const LinuxServiceContext& context);
std::unique_ptr<LinuxNotificationCenter> makeLinuxNotificationCenter(
    const LinuxServiceContext& context);

}  // namespace ks
