#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"

namespace ks::tool {

/// The library's folders within the one given with `--state`.
inline LinuxFolders stateFolders(const std::filesystem::path& given) {
  const std::filesystem::path state = std::filesystem::absolute(given);
  return {{state / "caches", state / "documents", {}}, state / "state"};
}

}  // namespace ks::tool
