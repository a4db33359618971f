#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Storage/FolderLock.h"

namespace ks {

/// Where everything of one application lies.
struct LinuxFolders {
  Directories directories;
  /// User defaults, monitored regions and the identifier of last resort.
  std::filesystem::path state;
};

/// The folders of the user's application `bundleIdentifier` by the XDG base-directory rules:
/// `$XDG_CACHE_HOME`, `$XDG_DATA_HOME` (documents) and `$XDG_STATE_HOME`, each with a folder of
/// the application's own. The temporary directory is left empty.
LinuxFolders xdgFolders(const std::string& bundleIdentifier);

/// The folders made for their owner alone, locked against other processes and swept of what killed
/// ones left. Without a temporary directory of the caller's it lies in the caches' and is emptied
/// at both ends.
class PrivateFolders {
 public:
  explicit PrivateFolders(LinuxFolders wanted);
  PrivateFolders(const PrivateFolders&) = delete;
  PrivateFolders& operator=(const PrivateFolders&) = delete;
  ~PrivateFolders();

  const LinuxFolders& folders() const { return folders_; }
  /// Set when another process has the folders: they must not be written into.
  const std::optional<Error>& inUse() const { return inUse_; }
  /// What could not be made or had; usable when everything could.
  ServiceState state() const;

 private:
  void take(const std::filesystem::path& folder);
  void sweep() const;

  LinuxFolders folders_;
  bool ownsTemporary_ = false;
  std::string refused_;
  std::optional<Error> inUse_;
  std::vector<FolderLock> locks_;
};

}  // namespace ks
