#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// Makes one process the owner of a folder for as long as the object lives. The system releases the
/// lock when the process ends, however it ends.
class FolderLock {
 public:
  /// Locks `folder`, which must exist, by its file ".lock". Code `EWOULDBLOCK` means that another
  /// process holds the lock; the description names it: "'/folder' is in use by process 1234
  /// (name)".
  static Result<FolderLock> acquire(const std::filesystem::path& folder);
  /// As `acquire`, but only if some process has locked the folder before.
  static Result<FolderLock> acquireKnown(const std::filesystem::path& folder);

 private:
  static Result<FolderLock> acquire(const std::filesystem::path& folder, int flags);
  explicit FolderLock(FileDescriptor file) : file_(std::move(file)) {}

  FileDescriptor file_;
};

}  // namespace ks
