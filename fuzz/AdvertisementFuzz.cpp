#include <cstddef>
#include <cstdint>
#include <span>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

/// Radio bytes of any content are read or skipped, in memory bounded by their size.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span bytes(data, size);
  const auto advertisement = ks::parseAdvertisement("fuzz", bytes, {-70});
  std::size_t kept = 0;
  for (const auto& element : advertisement.serviceData) kept += element.bytes.size();
  for (const auto& element : advertisement.manufacturerData) {
    kept += element.bytes.size();
    const auto reading = ks::readBeaconFrame(element);
    if (reading.frame && reading.malformed) __builtin_trap();
    // What was read writes the same bytes again.
    if (reading.frame && ks::makeBeaconData(*reading.frame) != element) __builtin_trap();
  }
  if (kept > size || advertisement.skippedElements > size) __builtin_trap();
  return 0;
}
