#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

#include "BeaconSDK/Platform/Linux/Positions/GpsdProtocol.h"

/// Whatever answers at the daemon's port is read or skipped; what counts as a position is one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ks::LineSplitter lines;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto read = [](std::string_view line) {
    if (line.size() > ks::kLongestGpsdLine) __builtin_trap();
    const auto meaning = ks::readGpsdLine(line);
    const auto* const report = std::get_if<ks::PositionReport>(&meaning);
    if (report == nullptr) return;
    const bool isPlace = std::abs(report->coordinate.latitude) <= 90 &&
                         std::abs(report->coordinate.longitude) <= 180 &&
                         report->horizontalAccuracy.value >= ks::kLeastUncertainty &&
                         std::isfinite(report->horizontalAccuracy.value);
    if (!isPlace) __builtin_trap();
  };
  // In two parts, as a stream may come.
  lines.add(bytes.substr(0, size / 3), read);
  lines.add(bytes.substr(size / 3), read);
  return 0;
}
