#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "BeaconSDK/Classes/Network/PortalItem.h"
#include "BeaconSDK/Platform/Api/Error.h"

namespace ks {

/// Reads a portal's document, a JSON list of objects by the rules of `NSJSONSerialization`, and
/// passes each element to `take` as soon as it is read; holds one element at a time.
///
/// Returns why the document is invalid; `take` may have been called for elements before the error.
std::optional<Error> readPortalDocument(std::string_view document,
                                        const std::function<void(const PortalObject& item)>& take);

}  // namespace ks
