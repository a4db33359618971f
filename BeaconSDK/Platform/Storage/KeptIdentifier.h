#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/UUID.h"

namespace ks {

/// The identifier in the first line of `file`. Where there is none, a random one (version 4), which
/// is written there for the next run if that is possible.
UUID keptIdentifier(const std::filesystem::path& file);

}  // namespace ks
