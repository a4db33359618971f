#pragma once

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "BeaconSDK/Platform/Api/FileStore.h"

namespace ks {

/// "cannot read '/path': Permission denied", with the code `number` of `errno`.
inline Error fileError(const std::string& action, const std::filesystem::path& path,
                       int number = errno) {
  return {
      NSPOSIXErrorDomain, number,
      "cannot " + action + " '" + path.string() + "': " + std::generic_category().message(number)};
}

}  // namespace ks
