#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Storage/FolderLock.h"

namespace ks {

/// Where everything of one application lies.
struct DeviceFolders {
  Directories directories;
  /// User defaults, monitored regions and the identifier of last resort.
  std::filesystem::path state;
};

/// The folders made for their owner alone, locked against other processes and swept of what killed
/// ones left. Without a temporary directory of the caller's it lies in the caches' and is emptied
/// at both ends.
class PrivateFolders {
 public:
  explicit PrivateFolders(DeviceFolders wanted);
  PrivateFolders(const PrivateFolders&) = delete;
  PrivateFolders& operator=(const PrivateFolders&) = delete;
  ~PrivateFolders();

  const DeviceFolders& folders() const { return folders_; }
  /// The folders, for a device that must not share them: two processes would overwrite each other's
  /// state. Throws `std::runtime_error`, naming the other process, when they are in use.
  const DeviceFolders& owned() const;
  /// Set when another process has the folders: they must not be written into.
  const std::optional<Error>& inUse() const { return inUse_; }
  /// The last folder that could not be made or written into; empty when all could.
  const std::string& refused() const { return refused_; }

 private:
  void take(const std::filesystem::path& folder);
  void sweep() const;

  DeviceFolders folders_;
  bool ownsTemporary_ = false;
  std::string refused_;
  std::optional<Error> inUse_;
  std::vector<FolderLock> locks_;
};

}  // namespace ks
