#pragma once

#include <filesystem>
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

/// How the library presents itself to a Linux machine.
struct LinuxPlatformOptions {
  /// Shown to people and in front of log lines.
  std::string applicationName = "ksbeacon";
  /// "CFBundleIdentifier": names the application's folders too.
  std::string bundleIdentifier = "org.ksbeacon.ksbeacon";
  /// "CFBundleShortVersionString".
  std::optional<std::string> version;
  /// Instead of the user's language and region.
  std::optional<NSLocale> locale;
  /// Instead of the user's folders by the XDG rules.
  std::optional<LinuxFolders> folders;
  /// The loop that the main queue joins; null is the default one. Any other must be the
  /// thread-default context of the main thread as long as the platform lives.
  GMainContext* mainContext = nullptr;
  /// Where "etc" and "sys" lie that describe the machine.
  std::filesystem::path systemRoot = "/";
  /// PEM certificates that are trusted besides the system's. Empty: none.
  std::filesystem::path additionalCertificateAuthorities;
  /// Host names in lower case to the public keys accepted there: "sha256//BASE64", several
  /// separated by ';'.
  std::map<std::string, std::string> publicKeyPins;
  /// Watches every transfer; held weakly.
  std::weak_ptr<HttpObserver> httpObserver;
  /// How much stronger than usual the machine's Bluetooth receives, in dB.
  Dbm receiverGain{0};
  /// Where log lines go: standard error; -1 for nowhere.
  int logDescriptor = 2;
  /// False leaves out Bluetooth, positions and notifications: for tools that need none of them.
  bool connectServices = true;
};

/// A Linux machine as the library's device: made and destroyed on the main thread, which runs the
/// main loop.
///
/// A service of the machine that is missing, refuses or restarts is a state, never a failure: the
/// rest works on and the service is used as soon as it is there.
class LinuxPlatform : public Platform {
 public:
  /// Throws `std::runtime_error`, naming the other process, when another uses the same folders.
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
  /// Without a radio the central says that Bluetooth is unsupported.
  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate) override;
  UNUserNotificationCenter* userNotificationCenter() override;
  URLLoadingSystem& urlLoadingSystem() override;
  UIApplication& application() override;
  UIDevice& device() override;
  ASIdentifierManager& identifierManager() override;
  SystemConfiguration& systemConfiguration() override;

  /// The same services with what only this platform's host may ask of them. The notification
  /// centre is null where there is none.
  LinuxApplication& linuxApplication();
  LinuxNotificationCenter* linuxNotificationCenter();
  LocationEngine& locationEngine();

  /// The state of every service, in a fixed order. Main queue only.
  std::vector<ServiceState> serviceStates() const;

 private:
  struct Services;
  LinuxPlatformOptions options_;
  std::unique_ptr<Services> services_;
};

}  // namespace ks
