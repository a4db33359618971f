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

class EmbeddedReachability;
class HttpObserver;
class ScheduledNotificationCenter;

/// What the host says of itself and its device.
struct EmbeddedPlatformOptions {
  /// Where everything lies: required, apart from the temporary directory. On a device with one
  /// folder for the application: `inFolder`.
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
  /// Absent: a random one, kept in the state folder.
  std::optional<UUID> identifierForVendor;
  /// PEM certificates that are trusted besides the system's. Empty: none.
  std::filesystem::path additionalCertificateAuthorities;
  /// Host names in lower case to the public keys accepted there: "sha256//BASE64", several
  /// separated by ';'.
  std::map<std::string, std::string> publicKeyPins;
  /// Watches every transfer; held weakly.
  std::weak_ptr<HttpObserver> httpObserver;
  /// Receives log lines, on any thread. Null: nobody does.
  std::function<void(std::string_view)> log;

  /// The folders below one: "Caches", "Documents" and "State".
  static DeviceFolders inFolder(const std::filesystem::path& folder);
};

/// A device whose host hears advertisements, knows positions and runs the main queue, while the
/// library does everything else: regions, ranging, transfers and files. For phones, robots,
/// vehicles and gateways with a radio and a loop of their own.
///
/// Made, used and destroyed on the main thread. The host polls `descriptor` in its loop and calls
/// `runOnce`, or lets `runOnce` wait.
class EmbeddedPlatform : public Platform {
 public:
  /// Throws `std::invalid_argument` without folders, `std::runtime_error`, naming the other
  /// process, when another uses the same ones.
  explicit EmbeddedPlatform(EmbeddedPlatformOptions options);
  EmbeddedPlatform(const EmbeddedPlatform&) = delete;
  EmbeddedPlatform& operator=(const EmbeddedPlatform&) = delete;
  ~EmbeddedPlatform() override;

  /// Readable while the library has something to do; only for polling.
  int descriptor() const;
  /// Runs what is due on the main queue, having waited at most `timeout` for something to be; a
  /// negative one waits for as long as it takes. False when nothing was due. Not from a callback.
  bool runOnce(Seconds timeout);

  /// One advertisement as its length-type-value elements. `address` tells senders apart. Any of
  /// these may be called from a callback: the input is then taken in the next turn.
  void handleAdvertisement(std::string address, std::span<const std::uint8_t> elements, Dbm rssi);
  /// One whose manufacturer data the device's system has taken out already.
  void handleManufacturerData(std::string address, std::uint16_t company, Data bytes, Dbm rssi);
  void handleFix(const CLLocation& fix);
  /// The source of positions has given up for now.
  void handlePositionFailure();
  void setBluetoothState(CBManagerState state);
  /// `authorizedAlways` at first: whoever starts the program permits it.
  void setAuthorizationStatus(CLAuthorizationStatus status);
  /// How the network can be reached, for the library's watches; reachable at first.
  void setReachabilityFlags(SCNetworkReachabilityFlags flags);

  /// Tells the host what to listen for. Called soon after the library's wishes change.
  EmbeddedLocation& location();
  EmbeddedApplication& embeddedApplication();
  /// Its listener shows notifications to the user.
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
  /// Takes input now, or in the next turn when the library is just calling the host.
  void take(Task input);

  struct Services;
  EmbeddedPlatformOptions options_;
  std::unique_ptr<Services> services_;
};

}  // namespace ks
