#include "BeaconSDK/Platform/Storage/AppendFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "BeaconSDK/Platform/Storage/FileErrors.h"

namespace ks {

std::optional<Error> AppendFile::append(std::span<const std::uint8_t> piece) {
  if (!file_) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW;
    file_ = FileDescriptor(::open(path_.c_str(), kFlags, S_IRUSR | S_IWUSR));
    if (!file_) return fileError("open", path_);
  }
  ssize_t written = -1;
  do {
    written = ::write(file_.get(), piece.data(), piece.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) return fileError("write", path_);
  if (static_cast<std::size_t>(written) != piece.size()) return fileError("write", path_, ENOSPC);
  return std::nullopt;
}

void AppendFile::remove() {
  file_.close();
  std::error_code error;
  std::filesystem::remove(path_, error);
}

}  // namespace ks
