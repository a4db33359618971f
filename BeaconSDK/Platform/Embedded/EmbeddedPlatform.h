#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Embedded/EmbeddedApplication.h"
#include "BeaconSDK/Platform/Embedded/EmbeddedLocation.h"
#include "BeaconSDK/Platform/Storage/DeviceFolders.h"

namespace ks {

class HttpObserver;
class ScheduledNotificationCenter;

/// What the host declares of itself and its device.
struct EmbeddedPlatformOptions {
  /// The device's folders; required except the temporary directory. For a single application folder
  /// use `inFolder`.
  DeviceFolders folders;
  /// "CFBundleIdentifier".
  std::string bundleIdentifier = "org.ksbeacon.embedded";
  /// "CFBundleShortVersionString".
  std::optional<std::string> version;
  NSLocale locale{"en", "US"};
  /// An Olson name.
  std::string timeZoneName = "UTC";
  std::string systemVersion = "1";
  std::string machine = "embedded";
  /// Absent: a random one, stored in the state folder.
  std::optional<UUID> identifierForVendor;
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
  /// Called with each log line, on any thread; may be null.
  std::function<void(std::string_view)> log;

  /// Returns the folders "Caches", "Documents" and "State" inside `folder`.
  static DeviceFolders inFolder(const std::filesystem::path& folder);
};

/// A device whose host supplies advertisements and positions and runs the main queue; the platform
/// does the rest: regions, ranging, transfers and files. For phones, robots, vehicles and gateways
/// with their own radio and event loop.
///
/// Create, use and destroy it on the main thread. The host polls `descriptor` in its loop and calls
/// `runOnce`, or lets `runOnce` wait.
class EmbeddedPlatform : public Platform {
 public:
  /// Throws `std::invalid_argument` without folders, and `std::runtime_error`, naming the other
  /// process, if another one uses them.
  explicit EmbeddedPlatform(EmbeddedPlatformOptions options);
  EmbeddedPlatform(const EmbeddedPlatform&) = delete;
  EmbeddedPlatform& operator=(const EmbeddedPlatform&) = delete;
  ~EmbeddedPlatform() override;

  /// Readable while tasks are due; only for polling.
  int descriptor() const;
  /// Waits at most `timeout` (negative: without limit) until a task of the main queue is due and
  /// runs all due tasks; false if none was. Not from a callback.
  bool runOnce(Seconds timeout);

  /// Processes one advertisement, given as length-type-value elements. `address` identifies the
  /// sender. This and the following operations may be called from a callback: the input is then
  /// processed in the next turn.
  void handleAdvertisement(std::string address, std::span<const std::uint8_t> elements, Dbm rssi);
  /// Processes an advertisement whose manufacturer data the system has already extracted.
  void handleManufacturerData(std::string address, std::uint16_t company, Data bytes, Dbm rssi);
  void handleFix(const CLLocation& fix);
  /// Reports that the position source gives no positions for now.
  void handlePositionFailure();
  void setBluetoothState(CBManagerState state);
  /// Initially `authorizedAlways`, as starting the program implies permission.
  void setAuthorizationStatus(CLAuthorizationStatus status);
  /// Sets the reachability that the library reads and watches. Initially reachable.
  void setReachabilityFlags(SCNetworkReachabilityFlags flags);

  /// Reports the demand for input soon after it changes.
  EmbeddedLocation& location();
  EmbeddedApplication& embeddedApplication();
  /// Set its listener to show notifications to the user.
  ScheduledNotificationCenter& scheduledNotificationCenter();

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
  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate) override;
  UNUserNotificationCenter* userNotificationCenter() override;
  URLLoadingSystem& urlLoadingSystem() override;
  UIApplication& application() override;
  UIDevice& device() override;
  ASIdentifierManager& identifierManager() override;
  SystemConfiguration& systemConfiguration() override;

 private:
  /// Processes input now or, during a callback of the library, in the next turn.
  void take(Task input);

  struct Services;
  EmbeddedPlatformOptions options_;
  std::unique_ptr<Services> services_;
};

}  // namespace ks
