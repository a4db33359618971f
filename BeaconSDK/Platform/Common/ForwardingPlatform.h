#pragma once

#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

/// Forwards every service to another platform: the base class of platforms that replace a few of
/// them.
class ForwardingPlatform : public Platform {
 public:
  /// `device` must outlive this platform.
  explicit ForwardingPlatform(Platform& device) : device_(device) {}

  Clock& clock() override { return device_.clock(); }
  DispatchQueue& mainQueue() override { return device_.mainQueue(); }
  DispatchQueue& globalQueue() override { return device_.globalQueue(); }
  NSNotificationCenter& notificationCenter() override { return device_.notificationCenter(); }
  NSUserDefaults& userDefaults() override { return device_.userDefaults(); }
  FileStore& files() override { return device_.files(); }
  Console& console() override { return device_.console(); }
  const Directories& directories() const override { return device_.directories(); }
  NSBundle mainBundle() const override { return device_.mainBundle(); }
  NSBundle libraryBundle() const override { return device_.libraryBundle(); }
  NSLocale currentLocale() const override { return device_.currentLocale(); }
  std::string timeZoneName() const override { return device_.timeZoneName(); }
  LocationServices& locationServices() override { return device_.locationServices(); }
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
};

}  // namespace ks
