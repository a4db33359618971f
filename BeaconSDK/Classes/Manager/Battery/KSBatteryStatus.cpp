#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Classes/Logging/KSLog.h"

namespace {

/// Service data with a tag, which beacons' names begin with: the tag first, the level in byte 6.
constexpr std::size_t kTaggedMinSize = 7;
constexpr std::size_t kTaggedMaxSize = 19;
constexpr std::ptrdiff_t kTagSize = 4;
constexpr std::size_t kTaggedLevelOffset = 6;

/// Service data with the beacon's identity: UUID, major and minor big-endian, the level last.
constexpr std::size_t kIdentifiedSize = 24;
constexpr std::ptrdiff_t kUUIDOffset = 1;
constexpr std::size_t kMajorOffset = 17;
constexpr std::size_t kMinorOffset = 19;
constexpr std::size_t kIdentifiedLevelOffset = 23;

std::uint32_t bigEndian16(const ks::Data& data, std::size_t offset) {
  return static_cast<std::uint32_t>(data[offset]) << 8 | data[offset + 1];
}

/// Nothing when the tag is not ASCII.
std::optional<std::string> tagOfData(const ks::Data& data) {
  std::string tag(data.begin(), data.begin() + kTagSize);
  const bool isAscii = std::all_of(tag.begin(), tag.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 128; });
  return isAscii ? std::optional(std::move(tag)) : std::nullopt;
}

const char* textForState(ks::CBManagerState state) {
  switch (state) {
    case ks::CBManagerState::unknown:
      return "CoreBluetooth BLE state is unknown";
    case ks::CBManagerState::resetting:
      return "CoreBluetooth BLE hardware is resetting";
    case ks::CBManagerState::unsupported:
      return "CoreBluetooth BLE hardware is unsupported on this platform";
    case ks::CBManagerState::unauthorized:
      return "CoreBluetooth BLE state is unauthorized";
    case ks::CBManagerState::poweredOff:
      return "CoreBluetooth BLE hardware is powered off";
    case ks::CBManagerState::poweredOn:
      return "CoreBluetooth BLE hardware is powered on and ready";
  }
  return nullptr;
}

}  // namespace

KSBatteryStatus::KSBatteryStatus(ks::Platform& platform)
    : centralManager_(platform.makeCentralManager(*this)) {}

bool KSBatteryStatus::isNew(const KSPrivateBeacon& beacon) {
  if (!beacon.name() || !beacon.uuid()) return false;
  const Identity<std::string_view> identity{*beacon.name(), *beacon.uuid(), beacon.minor(),
                                            beacon.major()};
  if (requested_.contains(identity)) return false;
  requested_.insert({*beacon.name(), identity.uuid, identity.minor, identity.major});
  return true;
}

void KSBatteryStatus::requestBatteryForBeacon(const KSPrivateBeacon& beacon) {
  if (auto key = isNew(beacon) ? keyForBeacon(beacon) : std::nullopt) {
    if (indexByKey_.try_emplace(*key, entries_.size()).second) {
      entries_.push_back({std::move(*key), std::nullopt});
      ++waitingCount_;
    }
  }
  startScanningIfNeeded();
}

std::optional<std::int64_t> KSBatteryStatus::beaconBatteryForBeacon(
    const KSPrivateBeacon& beacon) const {
  const auto key = keyForBeacon(beacon);
  if (!key) return std::nullopt;
  const auto found = indexByKey_.find(*key);
  if (found == indexByKey_.end()) return std::nullopt;
  return entries_[found->second].level;
}

std::optional<std::string> KSBatteryStatus::keyForBeacon(const KSPrivateBeacon& beacon) {
  if (!beacon.name() || beacon.name()->empty() || !beacon.uuid() || beacon.minor() == 0) {
    return std::nullopt;
  }
  // As "%@%@%tu%tu" would print them; put together by hand because every ranged beacon asks.
  const auto number = [](std::int64_t value) {
    return std::to_string(static_cast<std::uint64_t>(value));
  };
  return *beacon.name() + beacon.uuid()->UUIDString() + number(beacon.minor()) +
         number(beacon.major());
}

std::optional<std::uint8_t> KSBatteryStatus::levelInServiceData(const ks::Data& data) {
  if (data.size() >= kTaggedMinSize && data.size() <= kTaggedMaxSize) {
    return data[kTaggedLevelOffset];
  }
  return data.size() == kIdentifiedSize ? std::optional(data[kIdentifiedLevelOffset])
                                        : std::nullopt;
}

void KSBatteryStatus::startScanningIfNeeded() {
  if (centralManager_->state() != ks::CBManagerState::poweredOn || waitingCount_ == 0) return;
  // A scan reports each peripheral once, so a beacon that was heard before it was wanted answers
  // only to a new scan.
  if (isScanUnheard_ && centralManager_->isScanning()) return;
  isScanUnheard_ = true;
  centralManager_->scanForPeripheralsWithServices({{kCBCBUUID}});
}

void KSBatteryStatus::stopScanningIfNeeded() {
  if (centralManager_->isScanning() && waitingCount_ == 0) centralManager_->stopScan();
}

void KSBatteryStatus::centralManagerDidUpdateState(ks::CBCentralManager& central) {
  const auto state = central.state();
  if (const char* text = textForState(state)) ks::NSLog("%@", text);
  if (state != ks::CBManagerState::poweredOn) return;
  // A radio that was off has forgotten the scan, whatever it says of scanning.
  isScanUnheard_ = false;
  startScanningIfNeeded();
}

void KSBatteryStatus::didDiscoverPeripheral(ks::CBCentralManager&, const ks::CBPeripheral&,
                                            const ks::Dictionary& advertisementData, ks::Dbm) {
  isScanUnheard_ = false;
  const auto* services = advertisementData[kCBAdvDataServiceData].dictionary();
  const auto* data = services ? (*services)[kCBCBUUID].data() : nullptr;
  if (data == nullptr) return;
  if (data->size() >= kTaggedMinSize && data->size() <= kTaggedMaxSize) {
    readTaggedData(*data);
  } else if (data->size() == kIdentifiedSize) {
    readIdentifiedData(*data);
  }
}

void KSBatteryStatus::readTaggedData(const ks::Data& data) {
  const auto tag = tagOfData(data);
  ks::NSLog("%@", tag);
  if (!tag) return;
  storeFirst([&](const std::string& key) { return key.starts_with(*tag); },
             data[kTaggedLevelOffset]);
}

void KSBatteryStatus::readIdentifiedData(const ks::Data& data) {
  ks::UUID uuid;
  std::copy_n(data.begin() + kUUIDOffset, uuid.bytes.size(), uuid.bytes.begin());
  const auto major = bigEndian16(data, kMajorOffset);
  const auto minor = bigEndian16(data, kMinorOffset);
  ks::NSLog("%@", uuid);
  ks::NSLog("%u", major);
  ks::NSLog("%u", minor);
  const auto suffix = ks::stringWithFormat("%@%lu%lu", uuid, minor, major);
  storeFirst([&](const std::string& key) { return key.ends_with(suffix); },
             data[kIdentifiedLevelOffset]);
}

template <class Predicate>
void KSBatteryStatus::storeFirst(Predicate fits, std::uint8_t level) {
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& candidate) { return fits(candidate.key); });
  if (entry == entries_.end()) return;
  ks::NSLog("%hhu", level);
  if (!entry->level) --waitingCount_;
  entry->level = level;
  stopScanningIfNeeded();
}
