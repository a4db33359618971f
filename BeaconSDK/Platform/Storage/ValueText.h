#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// A value as text of one line per scalar or container head: a letter for the kind and its content,
/// with control characters and "%" written as "%0A". Nothing when the value holds an object.
std::optional<std::string> valueToText(const Value& value);

/// Reads what `valueToText` wrote; nothing when the text is damaged. Never deeper than 64 levels.
std::optional<Value> valueFromText(std::string_view text);

}  // namespace ks
