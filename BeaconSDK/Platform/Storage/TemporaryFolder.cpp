#include "BeaconSDK/Platform/Storage/TemporaryFolder.h"

#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Storage/FileErrors.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kRandomPart = "-XXXXXX";

bool isOurFolder(const fs::path& path) {
  struct stat found = {};
  return ::lstat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode) &&
         found.st_uid == ::geteuid();
}

/// A folder without a lock is left alone: its process may be about to take it.
void removeAbandoned(const fs::path& base, std::string_view prefix) {
  std::error_code error;
  for (fs::directory_iterator entry(base, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    const bool isNamedAlike = name.size() == prefix.size() + kRandomPart.size() &&
                              name.starts_with(prefix) && name[prefix.size()] == '-';
    if (!isNamedAlike || !isOurFolder(entry->path())) continue;
    std::error_code ignored;
    if (const auto lock = FolderLock::acquireKnown(entry->path())) {
      fs::remove_all(entry->path(), ignored);
    }
  }
}

}  // namespace

Result<TemporaryFolder> TemporaryFolder::make(std::string_view prefix) {
  std::error_code error;
  const fs::path base = fs::temp_directory_path(error);
  if (error) return fileError("use", "TMPDIR", error.value());
  return make(prefix, base);
}

Result<TemporaryFolder> TemporaryFolder::makeInMemory(std::string_view prefix) {
  constexpr const char* kMemory = "/dev/shm";
  if (std::getenv("TMPDIR") != nullptr) return make(prefix);
  auto made = make(prefix, kMemory);
  return made ? std::move(made) : make(prefix);
}

Result<TemporaryFolder> TemporaryFolder::make(std::string_view prefix, const fs::path& base) {
  removeAbandoned(base, prefix);
  std::string path = (base / prefix).string() + std::string(kRandomPart);
  if (::mkdtemp(path.data()) == nullptr) return fileError("make", path);
  (void)::chmod(path.c_str(), S_IRWXU);
  auto lock = FolderLock::acquire(path);
  if (lock) return TemporaryFolder(path, std::move(lock.value()));
  std::error_code ignored;
  fs::remove_all(path, ignored);
  return lock.error();
}

TemporaryFolder::TemporaryFolder(TemporaryFolder&& other) noexcept
    : path_(std::exchange(other.path_, {})), lock_(std::move(other.lock_)) {}

TemporaryFolder& TemporaryFolder::operator=(TemporaryFolder&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(lock_, other.lock_);
  return *this;
}

void TemporaryFolder::remove() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(std::exchange(path_, {}), ignored);
}

}  // namespace ks
