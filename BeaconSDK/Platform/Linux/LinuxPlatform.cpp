#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"

#include <utility>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Common/WorkerQueue.h"
#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZRadio.h"
#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "BeaconSDK/Platform/Linux/Machine/EarlierUserDefaults.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxConsole.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxDevice.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxLocale.h"
#include "BeaconSDK/Platform/Linux/Network/LinuxReachability.h"
#include "BeaconSDK/Platform/Linux/Notifications/DesktopNotificationCenter.h"
#include "BeaconSDK/Platform/Linux/Positions/LinuxPositions.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/FileUserDefaults.h"

namespace ks {

namespace {

/// Says once that there is no Bluetooth.
class UnsupportedCentral : public CBCentralManager {
 public:
  UnsupportedCentral(DispatchQueue& mainQueue, CBCentralManagerDelegate& delegate) {
    announcement_.arm(mainQueue, Seconds{0},
                      [this, &delegate] { delegate.centralManagerDidUpdateState(*this); });
  }
  CBManagerState state() const override { return CBManagerState::unsupported; }
  bool isScanning() const override { return false; }
  void scanForPeripheralsWithServices(const std::vector<CBUUID>& /*services*/) override {}
  void stopScan() override {}

 private:
  Wakeup announcement_;
};

constexpr const char* kUserDefaults = "UserDefaults.txt";

HttpOptions httpOptions(const LinuxPlatformOptions& options, const Directories& directories,
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

}  // namespace

/// In the order in which each needs those before it.
struct LinuxPlatform::Services : LocationDemandListener {
  explicit Services(const LinuxPlatformOptions& options);
  ~Services() override;

  void locationDemandChanged(const LocationDemand& demand) override {
    if (radio) radio->locationDemandChanged(demand);
    if (positions) positions->locationDemandChanged(demand);
  }
  void noticed(const std::string& text) override {
    if (noticeListener) return noticeListener(text);
    console.log(text);
  }
  void connect(const LinuxPlatformOptions& options);
  void showLocalNotifications();

  std::function<void(const std::string&)> noticeListener;
  SystemClock clock;
  LinuxConsole console;
  PrivateFolders folders;
  DiskFileStore files;
  FileUserDefaults userDefaults;
  LinuxDevice device;
  LinuxLocale locale;
  NSNotificationCenter notificationCenter;
  MainQueue mainQueue;
  FileLocationStateStore regionStore;
  LocationEngine location;
  LinuxReachability reachability;
  LinuxApplication application;
  std::unique_ptr<BlueZRadio> radio;
  std::unique_ptr<LinuxPositions> positions;
  std::unique_ptr<DesktopNotificationCenter> notifications;
  HttpURLLoadingSystem http;
  /// Last, so that nothing its tasks use goes before it.
  WorkerQueue globalQueue{"KSGlobal"};
};

LinuxPlatform::Services::Services(const LinuxPlatformOptions& options)
    : noticeListener(options.noticeListener),
      console(options.applicationName, options.logDescriptor),
      folders(options.folders.value_or(xdgFolders(options.bundleIdentifier))),
      userDefaults(folders.owned().state / kUserDefaults, console),
      device(options.systemRoot, folders.folders().state, options.bundleIdentifier),
      locale(options.systemRoot),
      mainQueue(options.mainContext),
      regionStore(folders.folders().state / "MonitoredRegions", console),
      location(clock, mainQueue, regionStore, *this),
      reachability(mainQueue, options.systemRoot / "sys/class/net"),
      application(clock, mainQueue, notificationCenter, console, options.applicationName),
      http(
          httpOptions(options, folders.folders().directories, clock, console),
          [] { return std::make_shared<WorkerQueue>("KSDelegate"); }, options.httpObserver) {
  if (!stateOf(folders).usable) console.log(stateOf(folders).detail);
  const auto& state = folders.folders().state;
  adoptEarlierUserDefaults(state, state / kUserDefaults, userDefaults);
  location.setReceiverGain(options.receiverGain);
  location.observeApplication(notificationCenter);
  // Whoever starts the program permits it; a service of positions may know better.
  location.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
  if (options.connectServices) connect(options);
}

LinuxPlatform::Services::~Services() = default;

void LinuxPlatform::Services::connect(const LinuxPlatformOptions& options) {
  const LinuxServiceContext context{clock,
                                    mainQueue,
                                    console,
                                    notificationCenter,
                                    location,
                                    folders.folders().directories,
                                    options.applicationName,
                                    options.bundleIdentifier};
  radio = std::make_unique<BlueZRadio>(context);
  location.setBeaconScanningAvailable(true);
  positions = std::make_unique<LinuxPositions>(context);
  location.setPositioningAvailable(true);
  notifications = std::make_unique<DesktopNotificationCenter>(context);
  showLocalNotifications();
  locationDemandChanged(location.demand());
}

void LinuxPlatform::Services::showLocalNotifications() {
  application.setPresenter(
      [this](const UILocalNotification& notification) { notifications->present(notification); });
}

LinuxPlatform::LinuxPlatform(LinuxPlatformOptions options)
    : options_(std::move(options)), services_(std::make_unique<Services>(options_)) {}

LinuxPlatform::~LinuxPlatform() = default;

Clock& LinuxPlatform::clock() { return services_->clock; }
DispatchQueue& LinuxPlatform::mainQueue() { return services_->mainQueue; }
DispatchQueue& LinuxPlatform::globalQueue() { return services_->globalQueue; }
NSNotificationCenter& LinuxPlatform::notificationCenter() { return services_->notificationCenter; }
NSUserDefaults& LinuxPlatform::userDefaults() { return services_->userDefaults; }
FileStore& LinuxPlatform::files() { return services_->files; }
Console& LinuxPlatform::console() { return services_->console; }
const Directories& LinuxPlatform::directories() const {
  return services_->folders.folders().directories;
}
NSBundle LinuxPlatform::mainBundle() const { return {options_.bundleIdentifier, options_.version}; }
NSBundle LinuxPlatform::libraryBundle() const { return {"org.ksbeacon.KSBeaconSDK", "1.0"}; }

NSLocale LinuxPlatform::currentLocale() const {
  return options_.locale ? *options_.locale : services_->locale.locale();
}

std::string LinuxPlatform::timeZoneName() const { return services_->locale.timeZoneName(); }
LocationServices& LinuxPlatform::locationServices() { return services_->location; }

std::unique_ptr<CBCentralManager> LinuxPlatform::makeCentralManager(
    CBCentralManagerDelegate& delegate) {
  if (services_->radio) return services_->radio->makeCentralManager(delegate);
  return std::make_unique<UnsupportedCentral>(services_->mainQueue, delegate);
}

UNUserNotificationCenter* LinuxPlatform::userNotificationCenter() {
  return services_->notifications.get();
}

URLLoadingSystem& LinuxPlatform::urlLoadingSystem() { return services_->http; }
UIApplication& LinuxPlatform::application() { return services_->application; }
UIDevice& LinuxPlatform::device() { return services_->device; }
ASIdentifierManager& LinuxPlatform::identifierManager() { return services_->device; }
SystemConfiguration& LinuxPlatform::systemConfiguration() { return services_->reachability; }
LinuxApplication& LinuxPlatform::linuxApplication() { return services_->application; }

LinuxNotificationCenter* LinuxPlatform::linuxNotificationCenter() {
  return services_->notifications.get();
}

LocationEngine& LinuxPlatform::locationEngine() { return services_->location; }

std::vector<ServiceState> LinuxPlatform::serviceStates() const {
  std::vector<ServiceState> states = {stateOf(services_->folders), services_->application.state(),
                                      services_->reachability.state()};
  if (services_->radio) states.push_back(services_->radio->state());
  if (services_->positions) states.push_back(services_->positions->state());
  if (services_->notifications) states.push_back(services_->notifications->state());
  return states;
}

}  // namespace ks
