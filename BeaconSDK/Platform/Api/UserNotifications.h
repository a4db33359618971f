#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// The domain and codes of the centre's errors, the platform's numbers.
inline constexpr const char* UNErrorDomain = "UNErrorDomain";
enum class UNError : std::int64_t {
  notificationsNotAllowed = 1,
  attachmentInvalidURL = 100,
  attachmentInvalidFileSize = 102,
  attachmentMoveIntoDataStoreFailed = 104,
  notificationInvalidNoDate = 1400,
};

/// Minimum interval of a repeating trigger.
inline constexpr Seconds kShortestNotificationRepeat{60};

/// A file shown with a notification.
struct UNNotificationAttachment {
  std::string identifier;
  std::filesystem::path file;
  /// Absent: no options were given.
  std::optional<bool> thumbnailHidden;
};

struct UNMutableNotificationContent {
  std::string title;
  std::string body;
  bool defaultSound = false;
  Dictionary userInfo;
  std::vector<UNNotificationAttachment> attachments;
};

struct UNTimeIntervalNotificationTrigger {
  Seconds timeInterval{0};
  bool repeats = false;
};

struct UNNotificationRequest {
  /// A request replaces an earlier one of the same identifier.
  std::string identifier;
  UNMutableNotificationContent content;
  UNTimeIntervalNotificationTrigger trigger;
};

/// Shows notifications to the user. Main queue only.
class UNUserNotificationCenter {
 public:
  virtual ~UNUserNotificationCenter() = default;
  /// Adds the request with its attachments. Calls `completion` once, asynchronously on the main
  /// queue; the attachments' files are no longer needed then.
  virtual void addNotificationRequest(
      UNNotificationRequest request,
      std::function<void(const std::optional<Error>&)> completion) = 0;
};

}  // namespace ks
