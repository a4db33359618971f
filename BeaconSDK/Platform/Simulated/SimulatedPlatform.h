#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Common/ScheduledNotificationCenter.h"
#include "BeaconSDK/Platform/Simulated/SimulatedApplication.h"
#include "BeaconSDK/Platform/Simulated/SimulatedConsole.h"
#include "BeaconSDK/Platform/Simulated/SimulatedDevice.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLocation.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedNetwork.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatformOptions.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "BeaconSDK/Platform/Simulated/SimulatedReachability.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/FileUserDefaults.h"
#include "BeaconSDK/Platform/Storage/TemporaryFolder.h"

namespace ks {

/// A whole device in virtual time.
///
/// Nothing runs by itself: the owner steps the device with the `run...` operations, which are those
/// of `SimulatedLoop`. To simulate a restart of the process, destroy a platform and create another
/// one on the same root folder: files, user defaults and monitored regions survive, timers and
/// pending notifications do not.
class SimulatedPlatform : public Platform {
 public:
  /// Throws `std::runtime_error` if the root folder cannot be created or another device uses it.
  explicit SimulatedPlatform(SimulatedPlatformOptions options = {});
  SimulatedPlatform(const SimulatedPlatform&) = delete;
  SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;
  ~SimulatedPlatform() override;

  void runUntilIdle() { loop_->runUntilIdle(); }
  void advance(Seconds span) { loop_->advance(span); }
  void runUntil(Date moment) { loop_->runUntil(moment); }
  bool runNext() { return loop_->runNext(); }
  SimulatedLoop& loop() { return *loop_; }
  /// Creates another serial queue of this device, such as a URL session's delegate queue. It may
  /// outlive the platform, but then runs nothing more.
  std::shared_ptr<SimulatedQueue> makeQueue() { return std::make_shared<SimulatedQueue>(loop_); }

  /// The device's settings, which may change at any time.
  SimulatedSettings settings() const { return device_.settings(); }
  void change(const std::function<void(SimulatedSettings&)>& change) { device_.change(change); }

  Clock& clock() override { return loop_->clock(); }
  SimulatedQueue& mainQueue() override { return mainQueue_; }
  SimulatedQueue& globalQueue() override { return globalQueue_; }
  NSNotificationCenter& notificationCenter() override { return notificationCenter_; }
  NSUserDefaults& userDefaults() override { return userDefaults_; }
  FileStore& files() override { return files_; }
  SimulatedConsole& console() override { return console_; }
  const Directories& directories() const override { return directories_; }
  NSBundle mainBundle() const override { return settings().mainBundle; }
  NSBundle libraryBundle() const override { return settings().libraryBundle; }
  NSLocale currentLocale() const override { return settings().locale; }
  std::string timeZoneName() const override { return settings().timeZoneName; }
  LocationServices& locationServices() override;
  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate) override;
  UNUserNotificationCenter* userNotificationCenter() override;
  URLLoadingSystem& urlLoadingSystem() override;
  SimulatedApplication& application() override { return application_; }
  SimulatedDevice& device() override { return device_; }
  SimulatedDevice& identifierManager() override { return device_; }
  SimulatedReachability& systemConfiguration() override { return reachability_; }

  /// Also available when the settings give the library no notification centre.
  ScheduledNotificationCenter& simulatedNotificationCenter() { return userNotifications_; }
  /// The world around the device, and its location engine and radio. They also work when the
  /// options replace the services that the library uses.
  SimulatedWorld& world() { return location_.world(); }
  SimulatedLocation& location() { return location_; }
  void setAuthorizationStatus(CLAuthorizationStatus status) {
    location_.engine().setAuthorizationStatus(status);
  }
  void setBluetoothState(CBManagerState state) { location_.setBluetoothState(state); }
  /// The device's own network, created on first use. Any thread.
  SimulatedNetwork& network();

 private:
  /// The folder of the device's state, locked for this device; removed at the end if it was created
  /// here.
  class Root {
   public:
    explicit Root(const std::filesystem::path& wanted);
    const std::filesystem::path& path() const { return path_; }

   private:
    std::filesystem::path path_;
    std::optional<TemporaryFolder> temporary_;
    std::optional<FolderLock> lock_;
  };

  /// Removes the leftovers of a killed process.
  void sweep() const;

  SimulatedPlatformOptions options_;
  Root root_;
  Directories directories_;
  std::shared_ptr<SimulatedLoop> loop_;
  SimulatedQueue mainQueue_;
  SimulatedQueue globalQueue_;
  NSNotificationCenter notificationCenter_;
  SimulatedConsole console_;
  DiskFileStore files_;
  FileUserDefaults userDefaults_;
  SimulatedDevice device_;
  SimulatedApplication application_;
  ScheduledNotificationCenter userNotifications_;
  SimulatedReachability reachability_;
  SimulatedLocation location_;
  std::once_flag networkOnce_;
  std::unique_ptr<SimulatedNetwork> network_;
};

}  // namespace ks
