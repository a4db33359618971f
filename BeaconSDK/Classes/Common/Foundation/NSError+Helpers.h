#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Error.h"

/// Creates the library's errors: code -1, with the message as localized description.
namespace ks::NSErrorHelpers {

/// Uses `domain`.
Error errorWithDescription(std::string description, std::string domain);
/// Uses the host application's bundle identifier as domain.
Error errorWithDescription(std::string description);
/// Returns an error in the domain of `error` whose description is that of `error`, a line feed and
/// `description`. Drops the earlier code and other user information.
Error errorByAppendingDescription(const Error& error, const std::string& description);

}  // namespace ks::NSErrorHelpers
