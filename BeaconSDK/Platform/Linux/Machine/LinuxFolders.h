#pragma once

#include <filesystem>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"

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

/// The folders made for their owner alone; a temporary directory made here goes with them.
class PrivateFolders {
 public:
  explicit PrivateFolders(LinuxFolders wanted, const std::string& bundleIdentifier);
  PrivateFolders(const PrivateFolders&) = delete;
  PrivateFolders& operator=(const PrivateFolders&) = delete;
  ~PrivateFolders();

  const LinuxFolders& folders() const { return folders_; }
  /// What could not be made; usable when everything could.
  ServiceState state() const;

 private:
  LinuxFolders folders_;
  bool ownsTemporary_ = false;
  std::string refused_;
};

}  // namespace ks
