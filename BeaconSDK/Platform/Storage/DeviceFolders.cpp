#include "BeaconSDK/Platform/Storage/DeviceFolders.h"

#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace fs = std::filesystem;

PrivateFolders::PrivateFolders(DeviceFolders wanted) : folders_(std::move(wanted)) {
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

const DeviceFolders& PrivateFolders::owned() const {
  if (inUse_) throw std::runtime_error(inUse_->localizedDescription());
  return folders_;
}

}  // namespace ks
