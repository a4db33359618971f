#include "BeaconSDK/Platform/Embedded/EmbeddedPlatform.h"

#include <stdexcept>
#include <utility>

#include "BeaconSDK/Platform/Api/Version.h"
#include "BeaconSDK/Platform/Common/HostReachability.h"
#include "BeaconSDK/Platform/Common/ScheduledNotificationCenter.h"
#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Common/WorkerQueue.h"
#include "BeaconSDK/Platform/Embedded/EmbeddedQueue.h"
#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "BeaconSDK/Platform/Location/LocationErrors.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/FileUserDefaults.h"
#include "BeaconSDK/Platform/Storage/KeptIdentifier.h"

namespace ks {

namespace {

class HostConsole : public Console {
 public:
  explicit HostConsole(const std::function<void(std::string_view)>& log) : log_(log) {}
  void log(std::string_view message) override {
    if (log_) log_(message);
  }

 private:
  const std::function<void(std::string_view)>& log_;
};

class EmbeddedDevice : public UIDevice, public ASIdentifierManager {
 public:
  EmbeddedDevice(const EmbeddedPlatformOptions& options, const std::filesystem::path& state)
      : options_(options),
        identifier_(options.identifierForVendor ? *options.identifierForVendor
                                                : keptIdentifier(state / "identifier")) {}

  std::string systemVersion() const override { return options_.systemVersion; }
  std::string machine() const override { return options_.machine; }
  UUID identifierForVendor() const override { return identifier_; }
  /// Nobody is asked whether advertisers may follow them, so they may not.
  bool isAdvertisingTrackingEnabled() const override { return false; }
  UUID advertisingIdentifier() const override { return identifier_; }

 private:
  const EmbeddedPlatformOptions& options_;
  UUID identifier_;
};

HttpOptions httpOptions(const EmbeddedPlatformOptions& options, const Directories& directories,
                        const Clock& clock, Console& console) {
  HttpOptions http;
  http.temporaryDirectory = directories.temporary;
  http.additionalCertificateAuthorities = options.additionalCertificateAuthorities;
  http.publicKeyPins = options.publicKeyPins;
  http.allowsLocalData = options.allowsLocalPictures;
  http.clock = &clock;
  http.warn = [&console](const std::string& text) { console.log(text); };
  return http;
}

const DeviceFolders& complete(const DeviceFolders& folders) {
  if (folders.directories.caches.empty() || folders.directories.documents.empty() ||
      folders.state.empty()) {
    throw std::invalid_argument("an embedded device needs folders for caches, documents and state");
  }
  return folders;
}

}  // namespace

/// In the order in which each needs those before it.
struct EmbeddedPlatform::Services {
  explicit Services(const EmbeddedPlatformOptions& options);

  SystemClock clock;
  HostConsole console;
  PrivateFolders folders;
  DiskFileStore files;
  FileUserDefaults userDefaults;
  EmbeddedDevice device;
  NSNotificationCenter notificationCenter;
  EmbeddedQueue mainQueue;
  EmbeddedLocation location;
  HostReachability reachability;
  EmbeddedApplication application;
  /// Keeps none: the listener has each with its attachments.
  ScheduledNotificationCenter notifications;
  HttpURLLoadingSystem http;
  /// Last, so that nothing its tasks use goes before it.
  WorkerQueue globalQueue{"KSGlobal"};
};

EmbeddedPlatform::Services::Services(const EmbeddedPlatformOptions& options)
    : console(options.log),
      folders(complete(options.folders)),
      userDefaults(folders.owned().state / "UserDefaults.txt", console),
      device(options, folders.folders().state),
      location(clock, mainQueue, console, folders.folders().state / "MonitoredRegions"),
      reachability(mainQueue),
      application(mainQueue, notificationCenter),
      notifications(mainQueue, clock, 0),
      http(
          httpOptions(options, folders.folders().directories, clock, console),
          [] { return std::make_shared<WorkerQueue>("KSDelegate"); }, options.httpObserver) {
  if (!folders.refused().empty()) console.log("cannot write into " + folders.refused());
  location.engine().observeApplication(notificationCenter);
  location.engine().setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
}

DeviceFolders EmbeddedPlatformOptions::inFolder(const std::filesystem::path& folder) {
  return {{folder / "Caches", folder / "Documents", {}}, folder / "State"};
}

EmbeddedPlatform::EmbeddedPlatform(EmbeddedPlatformOptions options)
    : options_(std::move(options)), services_(std::make_unique<Services>(options_)) {}

EmbeddedPlatform::~EmbeddedPlatform() = default;

int EmbeddedPlatform::descriptor() const { return services_->mainQueue.descriptor(); }
bool EmbeddedPlatform::runOnce(Seconds timeout) { return services_->mainQueue.runOnce(timeout); }

void EmbeddedPlatform::take(Task input) {
  if (services_->mainQueue.isRunning()) {
    services_->mainQueue.async(std::move(input));
  } else {
    input();
  }
}

void EmbeddedPlatform::handleAdvertisement(std::string address,
                                           std::span<const std::uint8_t> elements, Dbm rssi) {
  take([this, advertisement = parseAdvertisement(std::move(address), elements, rssi)] {
    services_->location.handleAdvertisement(advertisement);
  });
}

void EmbeddedPlatform::handleManufacturerData(std::string address, std::uint16_t company,
                                              Data bytes, Dbm rssi) {
  Advertisement advertisement;
  advertisement.address = std::move(address);
  advertisement.rssi = rssi;
  advertisement.manufacturerData.push_back({company, std::move(bytes)});
  take([this, advertisement = std::move(advertisement)] {
    services_->location.handleAdvertisement(advertisement);
  });
}

void EmbeddedPlatform::handleFix(const CLLocation& fix) {
  take([this, fix] { services_->location.engine().handleFix(fix); });
}

void EmbeddedPlatform::handlePositionFailure() {
  take([this] {
    services_->location.engine().positionFailed(locationError(CLErrorCode::locationUnknown));
  });
}

void EmbeddedPlatform::setBluetoothState(CBManagerState state) {
  services_->location.setBluetoothState(state);
}

void EmbeddedPlatform::setAuthorizationStatus(CLAuthorizationStatus status) {
  services_->location.engine().setAuthorizationStatus(status);
}

void EmbeddedPlatform::setReachabilityFlags(SCNetworkReachabilityFlags flags) {
  services_->reachability.setFlags(flags);
}

EmbeddedLocation& EmbeddedPlatform::location() { return services_->location; }
EmbeddedApplication& EmbeddedPlatform::embeddedApplication() { return services_->application; }
ScheduledNotificationCenter& EmbeddedPlatform::scheduledNotificationCenter() {
  return services_->notifications;
}

Clock& EmbeddedPlatform::clock() { return services_->clock; }
DispatchQueue& EmbeddedPlatform::mainQueue() { return services_->mainQueue; }
DispatchQueue& EmbeddedPlatform::globalQueue() { return services_->globalQueue; }
NSNotificationCenter& EmbeddedPlatform::notificationCenter() {
  return services_->notificationCenter;
}
NSUserDefaults& EmbeddedPlatform::userDefaults() { return services_->userDefaults; }
FileStore& EmbeddedPlatform::files() { return services_->files; }
Console& EmbeddedPlatform::console() { return services_->console; }
const Directories& EmbeddedPlatform::directories() const {
  return services_->folders.folders().directories;
}
NSBundle EmbeddedPlatform::mainBundle() const {
  return {options_.bundleIdentifier, options_.version};
}
NSBundle EmbeddedPlatform::libraryBundle() const { return {"org.ksbeacon.KSBeaconSDK", kVersion}; }
NSLocale EmbeddedPlatform::currentLocale() const { return options_.locale; }
std::string EmbeddedPlatform::timeZoneName() const { return options_.timeZoneName; }
LocationServices& EmbeddedPlatform::locationServices() { return services_->location.engine(); }

std::unique_ptr<CBCentralManager> EmbeddedPlatform::makeCentralManager(
    CBCentralManagerDelegate& delegate) {
  return services_->location.radio().makeCentralManager(delegate);
}

UNUserNotificationCenter* EmbeddedPlatform::userNotificationCenter() {
  return &services_->notifications;
}
URLLoadingSystem& EmbeddedPlatform::urlLoadingSystem() { return services_->http; }
UIApplication& EmbeddedPlatform::application() { return services_->application; }
UIDevice& EmbeddedPlatform::device() { return services_->device; }
ASIdentifierManager& EmbeddedPlatform::identifierManager() { return services_->device; }
SystemConfiguration& EmbeddedPlatform::systemConfiguration() { return services_->reachability; }

}  // namespace ks
