#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Api/Version.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWorld.h"

namespace ks {

/// Settings of a simulated device and its user. May change while it runs.
struct SimulatedSettings {
  NSBundle mainBundle{"com.example.application", "1.0"};
  NSBundle libraryBundle{"com.example.library", kVersion};
  NSLocale locale{"it", "IT"};
  std::string timeZoneName = "Europe/Rome";
  std::string systemVersion = "16.4";
  std::string machine = "x86_64";
  UUID identifierForVendor = *UUID::fromString("5A1D0E5C-0000-4000-8000-000000000001");
  UUID advertisingIdentifier = *UUID::fromString("5A1D0E5C-0000-4000-8000-000000000002");
  bool advertisingTrackingEnabled = true;
  /// False for an older device, which shows only `UILocalNotification`.
  bool hasUserNotificationCenter = true;
};

/// The initial state of a simulated device.
struct SimulatedPlatformOptions : SimulatedSettings, SimulatedWorldOptions {
  Date start = kSimulatedStart;
  /// Folder of everything that outlives the process: caches, documents, user defaults, monitored
  /// regions. Empty: a temporary folder that is removed with the platform.
  std::filesystem::path root;
  CLAuthorizationStatus authorizationStatus = CLAuthorizationStatus::authorizedAlways;
  bool circularMonitoringAvailable = true;
  bool beaconMonitoringAvailable = true;
  CBManagerState bluetoothState = CBManagerState::poweredOn;
  /// Breaks ties between queues at random, to find code that relies on their order.
  std::optional<std::uint64_t> shuffleSeed;

  /// PEM certificates trusted in addition to the system's; may be empty.
  std::filesystem::path additionalCertificateAuthorities;

  /// Each replaces the platform's own service when set.
  std::shared_ptr<URLLoadingSystem> urlLoadingSystem;
  std::shared_ptr<LocationServices> locationServices;
  std::function<std::unique_ptr<CBCentralManager>(CBCentralManagerDelegate&)> makeCentralManager;
};

}  // namespace ks
