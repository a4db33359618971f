#include "BeaconSDK/Platform/Linux/Notifications/NotificationPictures.h"

#include <array>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kPieceBytes = 65536;

/// How the files begin that desktops draw. A drawing (SVG) is not among them: it can name files and
/// addresses, which the desktop would read.
bool isPicture(std::string_view start) {
  using namespace std::string_view_literals;
  for (const auto signature : {"\x89PNG\r\n"sv, "\xFF\xD8\xFF"sv, "GIF8"sv, "BM"sv}) {
    if (start.starts_with(signature)) return true;
  }
  constexpr std::size_t kWebPAt = 8;
  return start.starts_with("RIFF") && start.size() > kWebPAt &&
         start.substr(kWebPAt).starts_with("WEBP");
}

Error refusal(UNError code, const char* problem, const fs::path& original) {
  return notificationError(code, std::string("Attachment ") + problem + ": " + original.string());
}

/// Nothing for what is no picture.
Result<std::optional<NewFile>> copyOf(const fs::path& original, const fs::path& folder) {
  std::error_code error;
  // A pipe would keep the program waiting.
  std::ifstream in;
  if (fs::is_regular_file(original, error)) in.open(original, std::ios::binary);
  std::array<char, kPieceBytes> piece{};
  const auto readPiece = [&] {
    in.read(piece.data(), piece.size());
    return std::string_view(piece.data(), static_cast<std::size_t>(in.gcount()));
  };
  std::string_view bytes = readPiece();
  if (!in.is_open() || in.bad()) {
    return refusal(UNError::attachmentInvalidURL, "cannot be read", original);
  }
  if (!isPicture(bytes)) return std::optional<NewFile>();
  const auto size = fs::file_size(original, error);
  if (error || size > NotificationPictureStore::kLargestPicture) {
    return refusal(UNError::attachmentInvalidFileSize, "is too large", original);
  }
  const auto notKept =
      refusal(UNError::attachmentMoveIntoDataStoreFailed, "cannot be kept", original);
  if (makePrivateFolder(folder)) return notKept;
  auto copy = NewFile::create(folder, "picture");
  for (; copy && !bytes.empty(); bytes = readPiece()) {
    if (copy.value().write(bytesOf(bytes))) return notKept;
  }
  if (!copy || in.bad()) return notKept;
  copy.value().close();
  return std::optional<NewFile>(std::move(copy.value()));
}

}  // namespace

Error notificationError(UNError code, std::string description) {
  return {UNErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

Result<std::shared_ptr<const NotificationPictures>> NotificationPictureStore::take(
    const std::vector<UNNotificationAttachment>& attachments) {
  auto pictures = std::make_shared<NotificationPictures>();
  for (const UNNotificationAttachment& attachment : attachments) {
    const bool isHidden = attachment.thumbnailHidden.value_or(false);
    fs::path& place = isHidden || !pictures->icon.empty() ? pictures->image : pictures->icon;
    if (!place.empty()) continue;
    auto copy = copyOf(attachment.file, folder_);
    if (!copy) return copy.error();
    if (!copy.value()) continue;
    place = copy.value()->path();
    pictures->files.push_back(std::move(*copy.value()));
  }
  if (pictures->icon.empty()) pictures->icon = pictures->image;
  if (pictures->image.empty()) pictures->image = pictures->icon;
  return std::shared_ptr<const NotificationPictures>(std::move(pictures));
}

}  // namespace ks
