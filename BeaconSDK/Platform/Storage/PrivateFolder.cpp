#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Storage/FileErrors.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

/// The entries directly in `folder` as far as the system lists them.
std::vector<fs::directory_entry> entriesIn(const fs::path& folder) {
  std::vector<fs::directory_entry> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(*entry);
  }
  return entries;
}

std::optional<Error> syncParent(const fs::path& folder) {
  const auto parent = openFolder(folder.parent_path());
  return parent ? syncFolder(*parent, folder.parent_path()) : parent.error();
}

std::optional<Error> makeFolder(const fs::path& folder) {
  if (::mkdir(folder.c_str(), S_IRWXU) != 0) return fileError("make", folder);
  // Gives back what the umask took.
  if (::chmod(folder.c_str(), S_IRWXU) != 0 && errno != EPERM) return fileError("make", folder);
  return syncParent(folder);
}

std::optional<Error> closeToOthers(const fs::path& folder) {
  struct stat found = {};
  if (::stat(folder.c_str(), &found) != 0) return fileError("use", folder);
  if (!S_ISDIR(found.st_mode)) return fileError("use", folder, ENOTDIR);
  const bool isOpen = (found.st_mode & (S_IRWXG | S_IRWXO)) != 0;
  if (!isOpen || found.st_uid != ::geteuid()) return std::nullopt;
  if (::chmod(folder.c_str(), S_IRWXU) != 0) return fileError("close to others", folder);
  return std::nullopt;
}

}  // namespace

std::optional<Error> makePrivateFolder(const fs::path& folder) {
  auto refused = makeFolder(folder);
  if (!refused || refused->code() == EEXIST) return closeToOthers(folder);
  const bool hasParent = folder.has_parent_path() && folder.parent_path() != folder;
  if (refused->code() != ENOENT || !hasParent) return refused;
  if (auto error = makePrivateFolder(folder.parent_path())) return error;
  return makeFolder(folder);
}

void removeUnfinishedFiles(const fs::path& folder) {
  for (const auto& entry : entriesIn(folder)) {
    std::error_code unknown;
    const bool isUnfinished = entry.path().extension() == kUnfinishedEnding;
    if (isUnfinished && entry.symlink_status(unknown).type() == fs::file_type::regular) {
      ::unlink(entry.path().c_str());
    }
  }
}

void emptyFolder(const fs::path& folder) {
  for (const auto& entry : entriesIn(folder)) {
    std::error_code ignored;
    fs::remove_all(entry.path(), ignored);
  }
}

Result<FileDescriptor> openFolder(const fs::path& folder) {
  const fs::path path = folder.empty() ? fs::path(".") : folder;
  FileDescriptor opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened) return fileError("open", path);
  return opened;
}

std::optional<Error> syncFolder(const FileDescriptor& opened, const fs::path& folder) {
  // Some file systems cannot sync a folder and say so.
  if (::fsync(opened.get()) == 0 || errno == EINVAL) return std::nullopt;
  return fileError("sync", folder);
}

}  // namespace ks
