#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Error.h"

/// The library's way of making errors: code -1, the message as localized description.
namespace ks::NSErrorHelpers {

/// In `domain`.
Error errorWithDescription(std::string description, std::string domain);
/// In the domain of the host application: its bundle identifier.
Error errorWithDescription(std::string description);
/// In the domain of `error`, with its description, a line feed and `description`; the earlier code
/// and further user information are dropped.
Error errorByAppendingDescription(const Error& error, const std::string& description);

}  // namespace ks::NSErrorHelpers
