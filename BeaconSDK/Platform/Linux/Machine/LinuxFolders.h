#pragma once

#include <string>

#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Storage/DeviceFolders.h"

namespace ks {

using LinuxFolders = DeviceFolders;

/// The folders of the user's application `bundleIdentifier` by the XDG base-directory rules:
/// `$XDG_CACHE_HOME`, `$XDG_DATA_HOME` (documents) and `$XDG_STATE_HOME`, each with a folder of
/// the application's own. The temporary directory is left empty.
LinuxFolders xdgFolders(const std::string& bundleIdentifier);

/// What of the folders could not be made or had; usable when everything could.
ServiceState stateOf(const PrivateFolders& folders);

}  // namespace ks
