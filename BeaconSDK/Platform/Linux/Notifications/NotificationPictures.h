#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/UserNotifications.h"
#include "BeaconSDK/Platform/Storage/NewFile.h"

namespace ks {

/// Returns an error of the notifications' domain.
Error notificationError(UNError code, std::string description);

/// A notification's pictures in files of its own, which go with the object. Either path may be
/// empty.
struct NotificationPictures {
  std::vector<NewFile> files;
  /// Stands for the sender.
  std::filesystem::path icon;
  /// What is told of.
  std::filesystem::path image;
};

/// Takes copies of attached pictures, readable for their owner alone, so that the originals may go.
class NotificationPictureStore {
 public:
  /// The limit of the platform whose notifications these are.
  static constexpr std::uintmax_t kLargestPicture = 10'000'000;

  explicit NotificationPictureStore(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// The first picture whose thumbnail is not hidden is the icon and the first other one the image;
  /// a single picture is both. What no desktop draws, as sounds and films, is left out; what cannot
  /// be read, is too large or cannot be kept is an error.
  Result<std::shared_ptr<const NotificationPictures>> take(
      const std::vector<UNNotificationAttachment>& attachments);

 private:
  const std::filesystem::path folder_;
};

}  // namespace ks
