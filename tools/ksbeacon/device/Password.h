#pragma once

#include <filesystem>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"

namespace ks::tool {

/// Where a user's password may lie. It never comes from the command line or the environment, which
/// other users can read.
struct PasswordSources {
  std::string user;
  std::string portalURL;
  /// Instead of every other place; empty for none.
  std::filesystem::path file;
  /// The service manager's credential of this name; empty for the usual one, where it is there.
  std::string credential;
};

/// The name of the usual credential.
inline constexpr const char* kUsualCredential = "ksbeacon.password";

/// The password from the file, else from the folder `$CREDENTIALS_DIRECTORY`, else from the user's
/// secret store. An error names the place and what is wrong with it, on one line.
Result<std::string> findPassword(const PasswordSources& sources);

/// One line of a regular file of at most 4096 bytes which belongs to this user or to root and which
/// nobody else may read or write.
Result<std::string> readPasswordFile(const std::filesystem::path& file);

}  // namespace ks::tool
