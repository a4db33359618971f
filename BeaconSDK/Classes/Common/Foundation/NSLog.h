#pragma once

#include <array>
#include <span>
#include <string_view>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"

namespace ks {

/// Formats and writes one message; the non-template part of `NSLog`.
void writeToConsole(std::string_view format, std::span<const FormatArgument> arguments);

/// Writes one message to the system log, whether the trace is on or off. Any thread.
template <class... Args>
void NSLog(std::string_view format, const Args&... args) {
  const std::array<FormatArgument, sizeof...(Args)> arguments{FormatArgument(args)...};
  writeToConsole(format, arguments);
}

}  // namespace ks
