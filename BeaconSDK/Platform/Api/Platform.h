#pragma once

#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/FileStore.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/SystemConfiguration.h"
#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Api/UserNotifications.h"

namespace ks {

/// All services that the library uses of its device; one process is one device.
///
/// Install a platform before using the library, and replace it only when nothing uses it any more,
/// as between two tests. The services live as long as the platform.
class Platform {
 public:
  virtual ~Platform() = default;

  /// Returns the installed platform. Ends the process with a message if none is installed. Any
  /// thread.
  static Platform& current();
  /// Installs `platform` and returns the previous one; null removes it. Returns `platform` itself,
  /// and writes a message, if a `PlatformUse` keeps another one installed.
  static std::shared_ptr<Platform> install(std::shared_ptr<Platform> platform);
  static bool isInstalled();

  virtual Clock& clock() = 0;
  /// For public calls, location, Bluetooth and application events, timers and callbacks to the
  /// application.
  virtual DispatchQueue& mainQueue() = 0;
  /// For work in parallel to the main queue.
  virtual DispatchQueue& globalQueue() = 0;
  virtual NSNotificationCenter& notificationCenter() = 0;
  virtual NSUserDefaults& userDefaults() = 0;
  virtual FileStore& files() = 0;
  virtual Console& console() = 0;
  virtual const Directories& directories() const = 0;
  /// The host application's bundle.
  virtual NSBundle mainBundle() const = 0;
  /// The bundle that holds this library.
  virtual NSBundle libraryBundle() const = 0;
  virtual NSLocale currentLocale() const = 0;
  /// An Olson name: "Europe/Rome".
  virtual std::string timeZoneName() const = 0;

  virtual LocationServices& locationServices() = 0;
  virtual std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) = 0;
  /// Null where the device has no notification centre.
  virtual UNUserNotificationCenter* userNotificationCenter() = 0;
  virtual URLLoadingSystem& urlLoadingSystem() = 0;
  virtual UIApplication& application() = 0;
  virtual UIDevice& device() = 0;
  virtual ASIdentifierManager& identifierManager() = 0;
  virtual SystemConfiguration& systemConfiguration() = 0;
};

/// While any of these exists, `Platform::install` refuses to replace or remove the current
/// platform. Held by objects that need the platform on which they were created. Any thread.
class PlatformUse {
 public:
  PlatformUse();
  PlatformUse(const PlatformUse&) = delete;
  PlatformUse& operator=(const PlatformUse&) = delete;
  ~PlatformUse();

  static bool isAny();
};

}  // namespace ks
