#include "BeaconSDK/Platform/Linux/Notifications/NotificationPictures.h"

#include <array>
#include <cctype>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

/// More than any of the signatures, and past what may stand in front of a drawing's first tag.
constexpr std::size_t kSignatureBytes = 64;

/// How the files begin that desktops draw.
bool isPicture(std::string_view start) {
  using namespace std::string_view_literals;
  for (const auto signature : {"\x89PNG\r\n"sv, "\xFF\xD8\xFF"sv, "GIF8"sv, "BM"sv}) {
    if (start.starts_with(signature)) return true;
  }
  constexpr std::size_t kWebPAt = 8;
  if (start.starts_with("RIFF") && start.substr(kWebPAt).starts_with("WEBP")) return true;
  if (start.starts_with("\xEF\xBB\xBF")) start.remove_prefix(3);
  while (!start.empty() && std::isspace(static_cast<unsigned char>(start.front())) != 0) {
    start.remove_prefix(1);
  }
  return start.starts_with("<svg") || start.starts_with("<?xml");
}

/// Empty for what is no picture.
Result<fs::path> copyOf(const fs::path& original, const fs::path& copy) {
  std::error_code error;
  // A pipe would keep the program waiting.
  std::ifstream in;
  if (fs::is_regular_file(original, error)) in.open(original, std::ios::binary);
  const auto unreadable = [&] {
    return notificationError(UNError::attachmentInvalidURL,
                             "Attachment cannot be read: " + original.string());
  };
  std::array<char, kSignatureBytes> start{};
  if (!in.is_open()) return unreadable();
  in.read(start.data(), start.size());
  if (in.bad()) return unreadable();
  if (!isPicture({start.data(), static_cast<std::size_t>(in.gcount())})) return fs::path{};

  const auto size = fs::file_size(original, error);
  if (error || size > NotificationPictureStore::kLargestPicture) {
    return notificationError(UNError::attachmentInvalidFileSize,
                             "Attachment is too large: " + original.string());
  }
  // The folder is the owner's alone, so nobody reads the copy before its mode is set.
  if (makePrivateFolder(copy.parent_path()) ||
      !fs::copy_file(original, copy, fs::copy_options::overwrite_existing, error)) {
    fs::remove(copy, error);
    return notificationError(UNError::attachmentMoveIntoDataStoreFailed,
                             "Attachment cannot be kept: " + original.string());
  }
  fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_write, error);
  return copy;
}

}  // namespace

Error notificationError(UNError code, std::string description) {
  return {UNErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

NotificationPictures::~NotificationPictures() {
  std::error_code ignored;
  if (!icon.empty()) fs::remove(icon, ignored);
  if (!image.empty() && image != icon) fs::remove(image, ignored);
}

Result<std::shared_ptr<const NotificationPictures>> NotificationPictureStore::take(
    const std::vector<UNNotificationAttachment>& attachments) {
  auto pictures = std::make_shared<NotificationPictures>();
  for (const UNNotificationAttachment& attachment : attachments) {
    const bool isHidden = attachment.thumbnailHidden.value_or(false);
    fs::path& place = isHidden || !pictures->icon.empty() ? pictures->image : pictures->icon;
    if (!place.empty()) continue;
    const auto copy = copyOf(attachment.file, folder_ / std::to_string(++lastNumber_));
    if (!copy) return copy.error();
    place = *copy;
  }
  if (pictures->icon.empty()) pictures->icon = pictures->image;
  if (pictures->image.empty()) pictures->image = pictures->icon;
  return std::shared_ptr<const NotificationPictures>(std::move(pictures));
}

}  // namespace ks
