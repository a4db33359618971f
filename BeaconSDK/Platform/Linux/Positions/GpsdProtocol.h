#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <variant>

#include "BeaconSDK/Platform/Linux/Positions/PositionReport.h"

namespace ks {

/// Asks the daemon for reports of every receiver.
inline constexpr std::string_view kGpsdWatch = "?WATCH={\"enable\":true,\"json\":true};\n";

/// The daemon's own longest line has 10,240 bytes.
inline constexpr std::size_t kLongestGpsdLine = 16384;

/// Cuts a stream into lines. A line that is too long is left out, and never held whole.
class LineSplitter {
 public:
  /// Calls `line` for each line that ends in `bytes`, without its end.
  void add(std::string_view bytes, const std::function<void(std::string_view line)>& line);

 private:
  std::string begun_;
  bool tooLong_ = false;
};

/// What the library reads of a line.
struct GpsdIntroduction {};
struct GpsdNoFix {};
struct GpsdOther {};
/// Not a JSON object with a class, or values of other types than the protocol's.
struct GpsdUnreadable {};
using GpsdLine =
    std::variant<GpsdUnreadable, GpsdOther, GpsdIntroduction, GpsdNoFix, PositionReport>;

/// A report counts as taken now, whatever date its receiver believes: the daemon sends each at
/// once.
GpsdLine readGpsdLine(std::string_view line);

}  // namespace ks
