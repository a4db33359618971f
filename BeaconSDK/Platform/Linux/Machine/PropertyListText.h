#pragma once

#include <optional>
#include <string_view>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// A dictionary as an XML property list. Nothing when a value has no form there: objects, null,
/// sets, UUIDs, numbers that are not finite, text with NUL or other control characters.
///
/// The format's dates have whole seconds; the exact moment stands beside them in an attribute
/// "seconds" (since 1970), which other readers pass over.
std::optional<Data> propertyListText(const Dictionary& values);

/// Reads such a list, written here or elsewhere; nothing when it is damaged or nested deeper than
/// 64 levels.
std::optional<Dictionary> propertyListFromText(const Data& text);

}  // namespace ks
