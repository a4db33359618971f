#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

#include <cstdlib>
#include <system_error>
#include <utility>

namespace ks {

namespace {

std::filesystem::path makeFreshFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "ksdevice-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "cannot make a folder at " + pattern);
  }
  return pattern;
}

}  // namespace

SimulatedPlatform::Root::Root(const std::filesystem::path& wanted)
    : path(wanted.empty() ? makeFreshFolder() : wanted), temporary(wanted.empty()) {}

SimulatedPlatform::Root::~Root() {
  std::error_code ignored;
  if (temporary) std::filesystem::remove_all(path, ignored);
}

SimulatedPlatform::SimulatedPlatform(SimulatedPlatformOptions options)
    : options_(std::move(options)),
      root_(options_.root),
      directories_{root_.path / "Caches", root_.path / "Documents", root_.path / "Temporary"},
      loop_(std::make_shared<SimulatedLoop>(options_.start, options_.shuffleSeed)),
      mainQueue_(loop_, SimulatedQueue::Role::main),
      globalQueue_(loop_),
      userDefaults_(root_.path / "UserDefaults.txt"),
      device_(options_),
      application_(mainQueue_, notificationCenter_),
      userNotifications_(mainQueue_, loop_->clock()),
      reachability_(*loop_, mainQueue_),
      location_(loop_->clock(), mainQueue_, root_.path / "MonitoredRegions", options_) {
  std::filesystem::create_directories(directories_.temporary);
  setAuthorizationStatus(options_.authorizationStatus);
  setBluetoothState(options_.bluetoothState);
  location_.setMonitoringAvailable(options_.circularMonitoringAvailable,
                                   options_.beaconMonitoringAvailable);
  // The device has been like this for long: nobody hears of it as a change.
  runUntilIdle();
}

SimulatedPlatform::~SimulatedPlatform() = default;

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
    network_ = std::make_unique<SimulatedNetwork>(loop_, std::move(http));
  });
  return *network_;
}

}  // namespace ks
