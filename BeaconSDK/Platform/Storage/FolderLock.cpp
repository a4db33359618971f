#include "BeaconSDK/Platform/Storage/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/FileErrors.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

/// The first line, as far as it can be shown; empty when there is none.
std::string shortLine(const fs::path& path) {
  constexpr std::size_t kLongest = 64;
  const FileContent content = DiskFileStore().read(path, kLongest);
  const auto end = std::find_if(content.bytes.begin(), content.bytes.end(),
                                [](std::uint8_t byte) { return byte < ' ' || byte > '~'; });
  return {content.bytes.begin(), end};
}

/// "1234 (name)"; the name where the system tells it.
std::string thisProcess() {
  const std::string name = shortLine("/proc/self/comm");
  return std::to_string(::getpid()) + (name.empty() ? "" : " (" + name + ")");
}

Error inUse(const fs::path& folder, const fs::path& lock) {
  const std::string owner = shortLine(lock);
  return {NSPOSIXErrorDomain, EWOULDBLOCK,
          "'" + folder.string() + "' is in use by " +
              (owner.empty() ? "another process" : "process " + owner)};
}

}  // namespace

Result<FolderLock> FolderLock::acquire(const fs::path& folder) {
  return acquire(folder, O_RDWR | O_CREAT);
}

Result<FolderLock> FolderLock::acquireKnown(const fs::path& folder) {
  return acquire(folder, O_RDWR);
}

Result<FolderLock> FolderLock::acquire(const fs::path& folder, int flags) {
  const fs::path path = folder / ".lock";
  FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (!file) return fileError("lock", path);
  if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? inUse(folder, path) : fileError("lock", path);
  }
  // Only for the message of others: the lock holds without it.
  const std::string owner = thisProcess() + "\n";
  if (::ftruncate(file.get(), 0) == 0) (void)!::write(file.get(), owner.data(), owner.size());
  return FolderLock(std::move(file));
}

}  // namespace ks
