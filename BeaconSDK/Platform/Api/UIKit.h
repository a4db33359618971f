#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/UUID.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Posted by the platform on the default notification centre, on the main queue.
inline constexpr const char* UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";

/// Result of a background fetch.
enum class UIBackgroundFetchResult : std::uint64_t { newData = 0, noData = 1, failed = 2 };

using UIBackgroundTaskIdentifier = std::uint64_t;
inline constexpr UIBackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

/// The older kind of local notification, for devices without a notification centre.
struct UILocalNotification {
  /// Counted from the time of scheduling.
  Seconds fireAfter{0};
  std::string alertBody;
  bool defaultSound = false;
  Dictionary userInfo;
};

/// A message box with one button.
struct UIAlertView {
  std::string title;
  std::string message;
  std::string cancelButtonTitle;
};

/// The host application as the system sees it. Main queue only.
class UIApplication {
 public:
  virtual ~UIApplication() = default;
  /// Sets the minimum interval between two calls of the application's background-fetch hook.
  virtual void setMinimumBackgroundFetchInterval(Seconds interval) = 0;
  /// Requests that the process keeps running in the background; returns `UIBackgroundTaskInvalid`
  /// if the system refuses. `expirationHandler` is called shortly before the time ends.
  virtual UIBackgroundTaskIdentifier beginBackgroundTask(
      std::function<void()> expirationHandler) = 0;
  /// Ignores unknown and invalid identifiers.
  virtual void endBackgroundTask(UIBackgroundTaskIdentifier task) = 0;
  virtual void scheduleLocalNotification(UILocalNotification notification) = 0;
  virtual void cancelAllLocalNotifications() = 0;
  virtual void showAlertView(const UIAlertView& alert) = 0;
};

/// The device. Any thread.
class UIDevice {
 public:
  virtual ~UIDevice() = default;
  /// "16.4".
  virtual std::string systemVersion() const = 0;
  /// The hardware identifier of the system's uname information: "x86_64".
  virtual std::string machine() const = 0;
  /// Stable for this vendor's applications on this device; the nil UUID where there is none.
  virtual UUID identifierForVendor() const = 0;
};

/// The device's advertising identifier, subject to the user's permission. Any thread.
class ASIdentifierManager {
 public:
  virtual ~ASIdentifierManager() = default;
  virtual bool isAdvertisingTrackingEnabled() const = 0;
  /// Meaningful only while tracking is allowed.
  virtual UUID advertisingIdentifier() const = 0;
};

}  // namespace ks
