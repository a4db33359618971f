#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Storage/FolderLock.h"

namespace ks {

/// The folders of one application.
struct DeviceFolders {
  Directories directories;
  /// Folder of user defaults, monitored regions and the fallback device identifier.
  std::filesystem::path state;
};

/// Creates the folders for their owner only, locks them against other processes and removes the
/// leftovers of killed ones. Without a given temporary directory, uses one in the caches folder and
/// empties it at both ends.
class PrivateFolders {
 public:
  explicit PrivateFolders(DeviceFolders wanted);
  PrivateFolders(const PrivateFolders&) = delete;
  PrivateFolders& operator=(const PrivateFolders&) = delete;
  ~PrivateFolders();

  const DeviceFolders& folders() const { return folders_; }
  /// Returns the folders for a device that must not share them, because two processes would
  /// overwrite each other's state. Throws `std::runtime_error`, naming the other process, if they
  /// are in use.
  const DeviceFolders& owned() const;
  /// Set if another process uses the folders: they must not be written to.
  const std::optional<Error>& inUse() const { return inUse_; }
  /// The last folder that could not be created or written to; empty if all could.
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
