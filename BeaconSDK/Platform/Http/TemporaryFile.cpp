#include "BeaconSDK/Platform/Http/TemporaryFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpErrors.h"

namespace ks {

Result<TemporaryFile> TemporaryFile::create(const std::filesystem::path& folder) {
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  std::string path = folder / "KSDownload-XXXXXX";
  const int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
  if (descriptor < 0) {
    return urlError(NSURLError::cannotCreateFile, "cannot create a file in " + folder.string() +
                                                      ": " +
                                                      std::generic_category().message(errno));
  }
  return TemporaryFile(std::move(path), descriptor);
}

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept
    : path_(std::exchange(other.path_, {})), descriptor_(std::exchange(other.descriptor_, -1)) {}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

bool TemporaryFile::write(const void* bytes, std::size_t count) {
  const auto* rest = static_cast<const char*>(bytes);
  while (count > 0) {
    const auto written = ::write(descriptor_, rest, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    rest += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

void TemporaryFile::close() {
  if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

void TemporaryFile::remove() {
  close();
  if (path_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
  path_.clear();
}

}  // namespace ks
