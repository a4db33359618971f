#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

#include <stdexcept>
#include <utility>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace {

template <class T>
T need(Result<T> made) {
  if (!made) throw std::runtime_error(made.error().localizedDescription());
  return std::move(made.value());
}

void need(const std::optional<Error>& error) {
  if (error) throw std::runtime_error(error->localizedDescription());
}

}  // namespace

SimulatedPlatform::Root::Root(const std::filesystem::path& wanted) : path_(wanted) {
  if (wanted.empty()) {
    temporary_ = need(TemporaryFolder::make("ksdevice"));
    path_ = temporary_->path();
  } else {
    need(makePrivateFolder(path_));
    lock_ = need(FolderLock::acquire(path_));
  }
}

SimulatedPlatform::SimulatedPlatform(SimulatedPlatformOptions options)
    : options_(std::move(options)),
      root_(options_.root),
      directories_{root_.path() / "Caches", root_.path() / "Documents", root_.path() / "Temporary"},
      loop_(std::make_shared<SimulatedLoop>(options_.start, options_.shuffleSeed)),
      mainQueue_(loop_, SimulatedQueue::Role::main),
      globalQueue_(loop_),
      userDefaults_(root_.path() / "UserDefaults.txt", console_),
      device_(options_),
      application_(mainQueue_, notificationCenter_),
      userNotifications_(mainQueue_, loop_->clock()),
      reachability_(*loop_, mainQueue_),
      location_(loop_->clock(), mainQueue_, console_, root_.path() / "MonitoredRegions", options_) {
  need(makePrivateFolder(directories_.temporary));
  sweep();
  location_.engine().observeApplication(notificationCenter_);
  setAuthorizationStatus(options_.authorizationStatus);
  setBluetoothState(options_.bluetoothState);
  location_.setMonitoringAvailable(options_.circularMonitoringAvailable,
                                   options_.beaconMonitoringAvailable);
  // The device has been like this for long: nobody hears of it as a change.
  runUntilIdle();
}

SimulatedPlatform::~SimulatedPlatform() = default;

void SimulatedPlatform::sweep() const {
  emptyFolder(directories_.temporary);
  removeUnfinishedFiles(root_.path());
  removeUnfinishedFiles(directories_.caches / "KSProximityManager");
}

LocationServices& SimulatedPlatform::locationServices() {
  if (options_.locationServices) return *options_.locationServices;
  return location_.engine();
}

std::unique_ptr<CBCentralManager> SimulatedPlatform::makeCentralManager(
    CBCentralManagerDelegate& delegate) {
  if (options_.makeCentralManager) return options_.makeCentralManager(delegate);
  return location_.radio().makeCentralManager(delegate);
}

UNUserNotificationCenter* SimulatedPlatform::userNotificationCenter() {
  return settings().hasUserNotificationCenter ? &userNotifications_ : nullptr;
}

URLLoadingSystem& SimulatedPlatform::urlLoadingSystem() {
  return options_.urlLoadingSystem ? *options_.urlLoadingSystem : network().loadingSystem();
}

SimulatedNetwork& SimulatedPlatform::network() {
  std::call_once(networkOnce_, [this] {
    HttpOptions http;
    http.temporaryDirectory = directories_.temporary;
    http.additionalCertificateAuthorities = options_.additionalCertificateAuthorities;
    http.allowsLocalData = true;
    network_ = std::make_unique<SimulatedNetwork>(loop_, std::move(http));
  });
  return *network_;
}

}  // namespace ks
