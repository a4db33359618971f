#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/Result.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// Makes one process the owner of a folder for as long as the object lives. The system releases the
/// lock when the process ends, however it ends.
class FolderLock {
 public:
  /// Takes the lock of `folder`, which must exist, by its file ".lock". Code `EWOULDBLOCK` means
  /// that another owner has it; the description names that process: "'/folder' is in use by
  /// process 1234 (name)".
  static Result<FolderLock> acquire(const std::filesystem::path& folder);
  /// As `acquire`, but only when the folder was locked before, by whatever process.
  static Result<FolderLock> acquireKnown(const std::filesystem::path& folder);

 private:
  static Result<FolderLock> acquire(const std::filesystem::path& folder, int flags);
  explicit FolderLock(FileDescriptor file) : file_(std::move(file)) {}

  FileDescriptor file_;
};

}  // namespace ks
