#include "BeaconSDK/Platform/Location/Regions/RegionStateFile.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

namespace ks {

namespace {

constexpr std::string_view kMark = "KSREGIONS1";
constexpr std::size_t kSumSize = 8;
enum Kind : std::uint8_t { kCircle = 1, kBeacons = 2 };
enum Flag : std::uint8_t { kEntry = 1, kExit = 2, kOnDisplay = 4, kHasMajor = 8, kHasMinor = 16 };

/// FNV-1a, 64 bits: finds damage, not malice.
std::uint64_t checkSum(std::span<const std::uint8_t> bytes) {
  std::uint64_t sum = 0xCBF29CE484222325u;
  for (const auto byte : bytes) sum = (sum ^ byte) * 0x100000001B3u;
  return sum;
}

class Writer {
 public:
  void integer(std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  void real(double value) { integer(std::bit_cast<std::uint64_t>(value), 8); }
  void text(std::string_view value) {
    integer(value.size(), 4);
    bytes.insert(bytes.end(), value.begin(), value.end());
  }
  Data bytes;
};

/// Gives zeros once something was missing; `good` tells.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::span<const std::uint8_t> take(std::uint64_t size) {
    if (!good || size > bytes_.size()) {
      good = false;
      return {};
    }
    const auto result = bytes_.first(size);
    bytes_ = bytes_.subspan(size);
    return result;
  }
  std::uint64_t integer(int width) {
    std::uint64_t value = 0;
    int shift = 0;
    for (const auto byte : take(static_cast<std::uint64_t>(width))) {
      value |= static_cast<std::uint64_t>(byte) << shift;
      shift += 8;
    }
    return value;
  }
  double real() { return std::bit_cast<double>(integer(8)); }
  std::string text() {
    const auto value = take(integer(4));
    return {value.begin(), value.end()};
  }
  bool atEnd() const { return bytes_.empty(); }
  bool good = true;

 private:
  std::span<const std::uint8_t> bytes_;
};

void write(Writer& writer, const MonitoredRegion& entry) {
  const auto& region = *entry.region;
  unsigned flags = (region.notifyOnEntry() ? kEntry : 0) | (region.notifyOnExit() ? kExit : 0);
  if (entry.beacons) {
    flags |= (entry.beacons->notifyEntryStateOnDisplay() ? kOnDisplay : 0) |
             (entry.beacons->major() ? kHasMajor : 0) | (entry.beacons->minor() ? kHasMinor : 0);
  }
  writer.integer(entry.circle ? kCircle : kBeacons, 1);
  writer.integer(flags, 1);
  writer.integer(static_cast<std::uint64_t>(entry.reported), 1);
  writer.text(region.identifier());
  if (entry.circle) {
    writer.real(entry.circle->center().latitude);
    writer.real(entry.circle->center().longitude);
    writer.real(entry.circle->radius().value);
  }
  if (!entry.beacons) return;
  const auto uuid = entry.beacons->proximityUUID().bytes;
  writer.bytes.insert(writer.bytes.end(), uuid.begin(), uuid.end());
  writer.integer(entry.beacons->major().value_or(0), 2);
  writer.integer(entry.beacons->minor().value_or(0), 2);
  writer.integer(static_cast<std::uint64_t>(entry.silenceLimit.count()), 2);
}

std::shared_ptr<CLRegion> readCircle(Reader& reader, const std::string& identifier) {
  CLLocationCoordinate2D center;
  center.latitude = reader.real();
  center.longitude = reader.real();
  const Metres radius{reader.real()};
  auto region = std::make_shared<CLCircularRegion>(center, radius, identifier);
  return isMonitorable(*region) ? region : nullptr;
}

std::shared_ptr<CLRegion> readBeacons(Reader& reader, const std::string& identifier,
                                      unsigned flags) {
  UUID uuid;
  std::ranges::copy(reader.take(uuid.bytes.size()), uuid.bytes.begin());
  const auto major = static_cast<std::uint16_t>(reader.integer(2));
  const auto minor = static_cast<std::uint16_t>(reader.integer(2));
  auto region = std::make_shared<CLBeaconRegion>(
      uuid, identifier, flags & kHasMajor ? std::optional(major) : std::nullopt,
      flags & kHasMinor ? std::optional(minor) : std::nullopt);
  region->setNotifyEntryStateOnDisplay(flags & kOnDisplay);
  return isMonitorable(*region) ? region : nullptr;
}

/// Null when the entry is damaged.
std::shared_ptr<MonitoredRegion> read(Reader& reader) {
  const auto kind = reader.integer(1);
  const auto flags = static_cast<unsigned>(reader.integer(1));
  const auto state = reader.integer(1);
  const auto identifier = reader.text();
  auto entry = std::make_shared<MonitoredRegion>();
  std::shared_ptr<CLRegion> region;
  if (kind == kCircle) region = readCircle(reader, identifier);
  if (kind == kBeacons) {
    region = readBeacons(reader, identifier, flags);
    const Seconds limit{static_cast<double>(reader.integer(2))};
    entry->silenceLimit = std::clamp(limit, kLeastSilence, kLongestSilence);
  }
  if (!reader.good || !region || state > static_cast<std::uint64_t>(CLRegionState::outside)) {
    return nullptr;
  }
  region->setNotifyOnEntry(flags & kEntry);
  region->setNotifyOnExit(flags & kExit);
  entry->setRegion(region);
  entry->reported = entry->state = static_cast<CLRegionState>(state);
  return entry;
}

}  // namespace

Data encodeRegions(const RegionRegistry& book) {
  Writer writer;
  writer.bytes.assign(kMark.begin(), kMark.end());
  for (const auto& [id, region] : book.all()) write(writer, *region);
  writer.integer(checkSum(writer.bytes), 8);
  return std::move(writer.bytes);
}

bool isRegionList(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kMark.size() + kSumSize) return false;
  return std::equal(kMark.begin(), kMark.end(), bytes.begin()) &&
         Reader(bytes.last(kSumSize)).integer(8) == checkSum(bytes.first(bytes.size() - kSumSize));
}

std::optional<std::vector<std::shared_ptr<MonitoredRegion>>> decodeRegions(
    std::span<const std::uint8_t> bytes) {
  if (!isRegionList(bytes)) return std::nullopt;
  std::vector<std::shared_ptr<MonitoredRegion>> regions;
  Reader reader(bytes.subspan(kMark.size(), bytes.size() - kMark.size() - kSumSize));
  while (!reader.atEnd()) {
    auto region = read(reader);
    if (!region) return std::nullopt;
    region->place = static_cast<std::uint32_t>(regions.size());
    regions.push_back(std::move(region));
  }
  return regions;
}

std::uint32_t listMark(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint32_t>(Reader(bytes.last(8)).integer(4));
}

void appendChange(Data& journal, std::uint32_t listMark, const MonitoredRegion& region) {
  Writer writer;
  writer.integer(listMark, 4);
  writer.integer(region.place, 4);
  writer.integer(static_cast<std::uint64_t>(region.reported), 2);
  writer.integer(static_cast<std::uint64_t>(region.silenceLimit.count()), 2);
  writer.integer(checkSum(writer.bytes), 4);
  journal.insert(journal.end(), writer.bytes.begin(), writer.bytes.end());
}

bool applyChanges(std::span<const std::uint8_t> journal, std::uint32_t listMark,
                  const std::vector<std::shared_ptr<MonitoredRegion>>& regions) {
  constexpr std::size_t kCheckedSize = 12;
  Reader reader(journal);
  for (; !reader.atEnd(); journal = journal.subspan(kChangeSize)) {
    const auto mark = reader.integer(4);
    const auto place = reader.integer(4);
    const auto state = reader.integer(2);
    const Seconds limit{static_cast<double>(reader.integer(2))};
    const auto told = reader.integer(4);
    if (!reader.good) return false;
    const auto sum = static_cast<std::uint32_t>(checkSum(journal.first(kCheckedSize)));
    if (mark != listMark || told != sum || place >= regions.size() ||
        state > static_cast<std::uint64_t>(CLRegionState::outside)) {
      return false;
    }
    auto& region = *regions[place];
    region.reported = region.state = static_cast<CLRegionState>(state);
    region.silenceLimit = std::clamp(limit, kLeastSilence, kLongestSilence);
  }
  return true;
}

}  // namespace ks
