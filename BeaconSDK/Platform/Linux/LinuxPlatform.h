#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"

typedef struct _GMainContext GMainContext;

namespace ks {

class HttpObserver;
class LinuxApplication;
class LinuxNotificationCenter;
class LocationEngine;

/// Configuration of a Linux platform.
struct LinuxPlatformOptions {
  /// Shown to people and in front of log lines.
  std::string applicationName = "ksbeacon";
  /// "CFBundleIdentifier"; also names the application's folders.
  std::string bundleIdentifier = "org.ksbeacon.ksbeacon";
  /// "CFBundleShortVersionString".
  std::optional<std::string> version;
  /// Overrides the user's language and region.
  std::optional<NSLocale> locale;
  /// Overrides the user's folders by the XDG rules.
  std::optional<LinuxFolders> folders;
  /// Context of the loop that runs the main queue; null: the default one. Any other must be the
  /// thread-default context of the main thread for the lifetime of the platform.
  GMainContext* mainContext = nullptr;
  /// Parent of the folders "etc" and "sys" that describe the machine.
  std::filesystem::path systemRoot = "/";
  /// PEM certificates trusted in addition to the system's; may be empty.
  std::filesystem::path additionalCertificateAuthorities;
  /// Public keys accepted for a host, by its name in lower case: "sha256//BASE64", several
  /// separated by ';'.
  std::map<std::string, std::string> publicKeyPins;
  /// Whether contents may have pictures at plain HTTP addresses of this device or of its link.
  /// Allowed in any case with a portal that runs on this device.
  bool allowsLocalPictures = false;
  /// Observes every transfer; held weakly.
  std::weak_ptr<HttpObserver> httpObserver;
  /// Called with each notice about received packets and positions, instead of writing it to the
  /// log. May be null.
  std::function<void(const std::string&)> noticeListener;
  /// Gain of the machine's Bluetooth receiver above the usual one, in dB.
  Dbm receiverGain{0};
  /// File descriptor for log lines, by default standard error; -1: none.
  int logDescriptor = 2;
  /// False disables Bluetooth, positions and notifications, for tools that need none of them.
  bool connectServices = true;
};

/// A Linux machine as the library's device. Create and destroy it on the main thread, which runs
/// the main loop.
///
/// A service of the machine that is missing, refuses or restarts is a state, never a failure: the
/// rest keeps working, and the service is used as soon as it is available.
class LinuxPlatform : public Platform {
 public:
  /// Throws `std::runtime_error`, naming the other process, if another one uses the same folders.
  explicit LinuxPlatform(LinuxPlatformOptions options = {});
  LinuxPlatform(const LinuxPlatform&) = delete;
  LinuxPlatform& operator=(const LinuxPlatform&) = delete;
  ~LinuxPlatform() override;

  Clock& clock() override;
  DispatchQueue& mainQueue() override;
  DispatchQueue& globalQueue() override;
  NSNotificationCenter& notificationCenter() override;
  NSUserDefaults& userDefaults() override;
  FileStore& files() override;
  Console& console() override;
  const Directories& directories() const override;
  NSBundle mainBundle() const override;
  NSBundle libraryBundle() const override;
  NSLocale currentLocale() const override;
  std::string timeZoneName() const override;
  LocationServices& locationServices() override;
  /// Without a radio the central reports Bluetooth as unsupported.
  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate) override;
  UNUserNotificationCenter* userNotificationCenter() override;
  URLLoadingSystem& urlLoadingSystem() override;
  UIApplication& application() override;
  UIDevice& device() override;
  ASIdentifierManager& identifierManager() override;
  SystemConfiguration& systemConfiguration() override;

  /// The same services with their operations for the host. The notification centre may be null.
  LinuxApplication& linuxApplication();
  LinuxNotificationCenter* linuxNotificationCenter();
  LocationEngine& locationEngine();

  /// Returns the state of every service, in a fixed order. Main queue only.
  std::vector<ServiceState> serviceStates() const;

 private:
  struct Services;
  LinuxPlatformOptions options_;
  std::unique_ptr<Services> services_;
};

}  // namespace ks
