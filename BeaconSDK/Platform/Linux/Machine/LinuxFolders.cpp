#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

/// The variable's value when it is an absolute path: the rules ignore any other.
fs::path pathFromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  const fs::path path = value == nullptr ? "" : value;
  return path.is_absolute() ? path : fs::path();
}

fs::path homeFolder() {
  if (fs::path home = pathFromEnvironment("HOME"); !home.empty()) return home;
  std::array<char, std::size_t{16} * 1024> text{};
  passwd entry = {};
  passwd* found = nullptr;
  getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found);
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "/";
}

fs::path baseFolder(const char* variable, const char* belowHome) {
  fs::path base = pathFromEnvironment(variable);
  return base.empty() ? homeFolder() / belowHome : base;
}

/// The identifier as one folder name that cannot lead elsewhere.
std::string folderName(std::string identifier) {
  std::replace(identifier.begin(), identifier.end(), '/', '_');
  if (identifier.empty() || identifier.front() == '.') identifier.insert(0, 1, '_');
  return identifier;
}

}  // namespace

LinuxFolders xdgFolders(const std::string& bundleIdentifier) {
  const std::string name = folderName(bundleIdentifier);
  LinuxFolders folders;
  folders.directories.caches = baseFolder("XDG_CACHE_HOME", ".cache") / name;
  folders.directories.documents = baseFolder("XDG_DATA_HOME", ".local/share") / name;
  folders.state = baseFolder("XDG_STATE_HOME", ".local/state") / name;
  return folders;
}

PrivateFolders::PrivateFolders(LinuxFolders wanted) : folders_(std::move(wanted)) {
  Directories& directories = folders_.directories;
  ownsTemporary_ = directories.temporary.empty();
  if (ownsTemporary_) directories.temporary = directories.caches / "Temporary";
  for (const fs::path& folder :
       {directories.caches, directories.documents, directories.temporary, folders_.state}) {
    if (makePrivateFolder(folder) || access(folder.c_str(), W_OK | X_OK) != 0) {
      refused_ = folder.string();
    }
  }
  take(directories.caches);
  if (folders_.state != directories.caches) take(folders_.state);
  if (!inUse_) sweep();
}

PrivateFolders::~PrivateFolders() {
  if (!inUse_ && ownsTemporary_) emptyFolder(folders_.directories.temporary);
}

void PrivateFolders::take(const fs::path& folder) {
  auto lock = FolderLock::acquire(folder);
  if (lock) {
    locks_.push_back(std::move(lock.value()));
  } else if (lock.error().code() == EWOULDBLOCK) {
    inUse_ = lock.error();
  }
}

void PrivateFolders::sweep() const {
  const Directories& directories = folders_.directories;
  if (ownsTemporary_) emptyFolder(directories.temporary);
  for (const fs::path& folder : {directories.caches, directories.caches / "KSProximityManager",
                                 directories.temporary, folders_.state}) {
    removeUnfinishedFiles(folder);
  }
}

ServiceState PrivateFolders::state() const {
  if (inUse_) {
    return {"Folders", false, inUse_->localizedDescription(),
            "stop that process, or give one of the two a bundle identifier of its own"};
  }
  if (refused_.empty()) {
    return {"Folders", true, "caches lie in " + folders_.directories.caches.string(), ""};
  }
  return {"Folders", false, "cannot write into " + refused_,
          "mkdir -p '" + refused_ + "' && chown \"$(id -u)\" '" + refused_ + "'"};
}

}  // namespace ks
