#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Common/Foundation/NSLog.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"

/// Enables the diagnostic trace. Off by default; a change takes effect with the next line.
extern std::atomic<bool> enableLogging;
static_assert(sizeof enableLogging == 1, "the switch is one byte for whoever links to it by name");

/// Posted on the main queue for each line of the trace, without an object; the user information
/// holds the line under `ks::DebugLogMessageKey`.
inline constexpr const char* DebugLogNotification = "DebugLogNotification";

/// Returns "UNKNOWN", "IMMEDIATE", "NEAR" or "FAR" for 0 to 3, nothing for any other number.
std::optional<std::string> formatProximity(std::int64_t proximity);
std::optional<std::string> formatProximity(ks::CLProximity proximity);

namespace ks {

inline constexpr const char* DebugLogMessageKey = "message";

/// Adds the time stamp to a message, writes it to the console and posts it. Any thread.
void writeLogLine(std::int32_t line, std::string_view format,
                  std::span<const FormatArgument> arguments);

}  // namespace ks

/// Writes one line of the trace: "[dd/MM/YY HH:mm:ss] :(line): message". Costs one test while the
/// trace is off. `file` and `function` name the call site and are not printed. Any thread; lines of
/// one thread are posted in order.
template <class... Args>
void DoKSLog([[maybe_unused]] const char* file, std::int32_t line,
             [[maybe_unused]] const char* function, const char* format, const Args&... args) {
  if (!enableLogging.load(std::memory_order_relaxed)) return;
  const std::array<ks::FormatArgument, sizeof...(Args)> arguments{ks::FormatArgument(args)...};
  ks::writeLogLine(line, format, arguments);
}

namespace ks {

/// A format and the source line of the call.
struct LogFormat {
  LogFormat(const char* format, std::int32_t callLine = __builtin_LINE())
      : text(format), line(callLine) {}

  const char* text;
  std::int32_t line;
};

/// The trace of one source file:
///
///     constexpr ks::LogSource kLog{"BeaconSDK/Classes/Stats/KSStatsManager"};
///     kLog("-[KSStatsManager initWithNetwork:]", "text %@", x);
struct LogSource {
  const char* file;

  template <class... Args>
  void operator()(const char* function, LogFormat format, const Args&... args) const {
    DoKSLog(file, format.line, function, format.text, args...);
  }
};

}  // namespace ks
