#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tools/ksbeacon/scenario/GpxTrack.h"

/// Tracks of any content are read or refused; what is read stays within its promises.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto read = ks::tool::parseGpxTrack(text, "fuzz.gpx");
  const auto* const track = std::get_if<std::vector<ks::tool::TrackPoint>>(&read);
  if (track == nullptr) return 0;
  if (track->empty()) __builtin_trap();
  for (const ks::tool::TrackPoint& point : *track) {
    if (!(point.coordinate.latitude >= -90 && point.coordinate.latitude <= 90)) __builtin_trap();
    if (point.time.has_value() != track->front().time.has_value()) __builtin_trap();
  }
  return 0;
}
