#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"
#include "BeaconSDK/Platform/Recorded/EnclosedApplication.h"
#include "BeaconSDK/Platform/Recorded/EnclosedCentral.h"
#include "BeaconSDK/Platform/Recorded/EnclosedLoading.h"
#include "BeaconSDK/Platform/Recorded/EnclosedReachability.h"
#include "BeaconSDK/Platform/Recorded/Outside.h"
#include "BeaconSDK/Platform/Simulated/SimulatedDevice.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/FileUserDefaults.h"

namespace ks {

/// A device whose only contact with the world is `Outside`: input enters as events with a time, and
/// queries of the library are questions with an answer.
///
/// The library runs entirely on the main thread, in virtual time, task by task: its main queue, its
/// global queue and the delegate queues of its sessions. So equal events at equal times and equal
/// answers give equal behaviour, whatever the threads of the real device do. Time does not advance
/// within a task.
class EnclosedPlatform : public Platform, private LocationDemandListener {
 public:
  struct Beginning {
    Date start;
    SimulatedSettings settings;
    Directories directories;
    /// Folder of the user defaults and the monitored regions.
    std::filesystem::path state;
  };
  /// A call of the host application, as a task of the main queue.
  using HostHandler = std::function<void(const std::string& name, const Dictionary& arguments)>;

  EnclosedPlatform(Outside& outside, Console& console, Beginning beginning);
  ~EnclosedPlatform() override;

  void setHostHandler(HostHandler handler) { hostHandler_ = std::move(handler); }
  void setTransferListener(EnclosedLoading::Listener listener) {
    loading_.setListener(std::move(listener));
  }
  /// Sets the function called with each notice of the location engine, instead of writing it to the
  /// console. May be null.
  void setNoticeListener(std::function<void(const std::string&)> listener) {
    noticeListener_ = std::move(listener);
  }
  /// Uses `loading` for the library's transfers instead of passing them outside. Call it before the
  /// first use.
  void setURLLoadingSystem(URLLoadingSystem& loading) { otherLoading_ = &loading; }
  const std::shared_ptr<SimulatedLoop>& loop() const { return loop_; }

  Clock& clock() override { return loop_->clock(); }
  DispatchQueue& mainQueue() override { return mainQueue_; }
  DispatchQueue& globalQueue() override { return globalQueue_; }
  NSNotificationCenter& notificationCenter() override { return notificationCenter_; }
  NSUserDefaults& userDefaults() override { return userDefaults_; }
  FileStore& files() override { return files_; }
  Console& console() override { return console_; }
  const Directories& directories() const override { return beginning_.directories; }
  NSBundle mainBundle() const override { return device_.settings().mainBundle; }
  NSBundle libraryBundle() const override { return device_.settings().libraryBundle; }
  NSLocale currentLocale() const override { return device_.settings().locale; }
  std::string timeZoneName() const override { return device_.settings().timeZoneName; }
  LocationServices& locationServices() override { return engine_; }
  std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) override {
    return radio_.makeCentralManager(delegate);
  }
  UNUserNotificationCenter* userNotificationCenter() override {
    return device_.settings().hasUserNotificationCenter ? &application_ : nullptr;
  }
  URLLoadingSystem& urlLoadingSystem() override {
    return otherLoading_ != nullptr ? *otherLoading_ : loading_;
  }
  UIApplication& application() override { return application_; }
  UIDevice& device() override { return device_; }
  ASIdentifierManager& identifierManager() override { return device_; }
  SystemConfiguration& systemConfiguration() override { return reachability_; }

 protected:
  /// Runs all tasks due until then.
  void passTime(std::int64_t microseconds);
  /// Delivers an event, and runs all tasks that follow from it immediately.
  void deliver(const RecordedEvent& event);
  SimulatedSettings settings() const { return device_.settings(); }
  /// Disconnects the real device: its callbacks have no effect any more.
  void detach() { link_->outside = nullptr; }

 private:
  void locationDemandChanged(const LocationDemand& demand) override {
    outside_.demandChanged(demand);
  }
  void noticed(const std::string& text) override;
  void apply(const RecordedEvent& event);
  void applyToEngine(const RecordedEvent& event);

  /// Files on disk; whether a write succeeds is an answer.
  class Files : public DiskFileStore {
   public:
    explicit Files(Outside& outside) : outside_(outside) {}
    std::optional<Error> write(const std::filesystem::path& path,
                               std::span<const std::uint8_t> bytes) override;

   private:
    Outside& outside_;
  };

  Outside& outside_;
  Console& console_;
  Beginning beginning_;
  std::shared_ptr<OutsideLink> link_;
  std::shared_ptr<SimulatedLoop> loop_;
  SimulatedQueue mainQueue_;
  SimulatedQueue globalQueue_;
  NSNotificationCenter notificationCenter_;
  Files files_;
  FileUserDefaults userDefaults_;
  SimulatedDevice device_;
  FileLocationStateStore regionStore_;
  LocationEngine engine_;
  EnclosedRadio radio_;
  EnclosedReachability reachability_;
  EnclosedApplication application_;
  EnclosedLoading loading_;
  URLLoadingSystem* otherLoading_ = nullptr;
  HostHandler hostHandler_;
  std::function<void(const std::string&)> noticeListener_;
};

/// Convert the settings of a device to and from their form in a recording.
Dictionary settingsDetails(const SimulatedSettings& settings);
SimulatedSettings settingsFrom(const Dictionary& details);

}  // namespace ks
