#include "BeaconSDK/Platform/Storage/NewFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Storage/FileErrors.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace fs = std::filesystem;

Result<NewFile> NewFile::create(const fs::path& folder, std::string_view stem) {
  // Names that killed processes left behind are passed over; there are never as many as this.
  constexpr int kAttempts = 10000;
  static std::atomic<unsigned> lastNumber{0};
  const std::string base = (folder / stem).string() + "." + std::to_string(::getpid()) + "-";
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::string path = base + std::to_string(++lastNumber) + std::string(kUnfinishedEnding);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor file(::open(path.c_str(), kFlags, S_IRUSR | S_IWUSR));
    if (file) {
      // Gives back what the umask took. The file is never more open than this, so that a file
      // system without modes does no harm.
      (void)::fchmod(file.get(), S_IRUSR | S_IWUSR);
      return NewFile(path, std::move(file));
    }
    if (errno != EEXIST) return fileError("create", path);
  }
  return fileError("create", base, EEXIST);
}

NewFile::NewFile(NewFile&& other) noexcept
    : path_(std::exchange(other.path_, {})), descriptor_(std::move(other.descriptor_)) {}

NewFile& NewFile::operator=(NewFile&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

std::optional<Error> NewFile::write(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor_.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return fileError("write", path_);
    if (count == 0) return fileError("write", path_, ENOSPC);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return std::nullopt;
}

std::optional<Error> NewFile::moveTo(const fs::path& target) {
  // Opened before the renaming, so that nothing after it can fail but the disk.
  auto folder = openFolder(target.parent_path());
  if (!folder) return folder.error();
  if (::fsync(descriptor_.get()) != 0) return fileError("sync", path_);
  descriptor_.close();
  if (std::rename(path_.c_str(), target.c_str()) != 0) return fileError("replace", target);
  path_.clear();
  return syncFolder(folder.value(), target.parent_path());
}

void NewFile::remove() {
  descriptor_.close();
  if (!path_.empty()) ::unlink(std::exchange(path_, {}).c_str());
}

}  // namespace ks
