#pragma once

#include <string>

#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Storage/DeviceFolders.h"

namespace ks {

using LinuxFolders = DeviceFolders;

/// Returns the folders of the user's application `bundleIdentifier` by the XDG base-directory
/// rules: one of its own in each of `$XDG_CACHE_HOME`, `$XDG_DATA_HOME` (documents) and
/// `$XDG_STATE_HOME`. The temporary directory is empty.
LinuxFolders xdgFolders(const std::string& bundleIdentifier);

/// Returns which of the folders could not be created or locked; usable if all could.
ServiceState stateOf(const PrivateFolders& folders);

}  // namespace ks
