#include <cstddef>
#include <cstdint>
#include <string_view>

#include "BeaconSDK/Platform/Location/Regions/RegionStateFile.h"

namespace {

/// The input as the entries of a file whose mark and check sum are right, so that the entries
/// themselves are read.
ks::Data sealed(const std::uint8_t* data, std::size_t size) {
  constexpr std::string_view kMark = "KSREGIONS1";
  ks::Data bytes(kMark.begin(), kMark.end());
  bytes.insert(bytes.end(), data, data + size);
  std::uint64_t sum = 0xCBF29CE484222325u;
  for (const auto byte : bytes) sum = (sum ^ byte) * 0x100000001B3u;
  for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<std::uint8_t>(sum >> (8 * i)));
  return bytes;
}

}  // namespace

/// State files of any content are read or refused, and what is read can be written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (ks::decodeRegions({data, size}) && size < 18) __builtin_trap();
  ks::RegionRegistry book;
  std::size_t count = 0;
  const auto regions = ks::decodeRegions(sealed(data, size));
  if (!regions) return 0;
  for (const auto& region : *regions) {
    if (!ks::isMonitorable(*region->region)) __builtin_trap();
    if (book.find(region->region->identifier())) continue;
    book.add(region);
    ++count;
  }
  if (ks::decodeRegions(ks::encodeRegions(book)).value().size() != count) __builtin_trap();
  return 0;
}
