#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Takes over the user defaults that version 1.0 kept in the XML property list
/// "UserDefaults.plist" of the folder `state`, once: as long as there is no `file` of today, to
/// which they are written. The list stays where it is. What cannot be read is passed over.
void adoptEarlierUserDefaults(const std::filesystem::path& state, const std::filesystem::path& file,
                              NSUserDefaults& defaults);

}  // namespace ks
