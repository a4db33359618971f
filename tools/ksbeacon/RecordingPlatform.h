#pragma once

#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "tools/ksbeacon/LocationListener.h"

namespace ks::tool {

/// Another platform with an ear on its location service: all that the device tells the library
/// about positions, regions and beacons reaches the listener first. Everything else is the other
/// platform's.
class RecordingPlatform : public Platform {
 public:
  /// Both must outlive the recording platform.
  RecordingPlatform(Platform& device, LocationListener& listener);

  LocationServices& locationServices() override { return *locationServices_; }

  Clock& clock() override { return device_.clock(); }
  DispatchQueue& mainQueue() override { return device_.mainQueue(); }
  DispatchQueue& globalQueue() override { return device_.globalQueue(); }
  NSNotificationCenter& notificationCenter() override { return device_.notificationCenter(); }
  NSUserDefaults& userDefaults() override { return device_.userDefaults(); }
  Console& console() override { return device_.console(); }
  const Directories& directories() const override { return device_.directories(); }
  NSBundle mainBundle() const override { return device_.mainBundle(); }
  NSBundle libraryBundle() const override { return device_.libraryBundle(); }
  NSLocale currentLocale() const override { return device_.currentLocale(); }
  std::string timeZoneName() const override { return device_.timeZoneName(); }
  std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) override {
    return device_.makeCentralManager(delegate);
  }
  UNUserNotificationCenter* userNotificationCenter() override {
    return device_.userNotificationCenter();
  }
  URLLoadingSystem& urlLoadingSystem() override { return device_.urlLoadingSystem(); }
  UIApplication& application() override { return device_.application(); }
  UIDevice& device() override { return device_.device(); }
  ASIdentifierManager& identifierManager() override { return device_.identifierManager(); }
  SystemConfiguration& systemConfiguration() override { return device_.systemConfiguration(); }

 private:
  Platform& device_;
  std::unique_ptr<LocationServices> locationServices_;
};

}  // namespace ks::tool
