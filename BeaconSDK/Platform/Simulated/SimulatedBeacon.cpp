#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"

#include <algorithm>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

namespace {

/// Types of advertisement elements, from the Bluetooth SIG's assigned numbers.
constexpr std::uint8_t kFlags = 0x01;
constexpr std::uint8_t kServiceData16 = 0x16;
constexpr std::uint8_t kManufacturerData = 0xFF;

/// General discoverable, no classic Bluetooth.
constexpr std::uint8_t kDiscoverableLowEnergyOnly = 0x06;

constexpr std::uint16_t kBatteryService = 0xD00D;

void appendLittleEndian(Data& data, std::uint16_t number) {
  data.push_back(static_cast<std::uint8_t>(number & 0xFF));
  data.push_back(static_cast<std::uint8_t>(number >> 8));
}

void appendBigEndian(Data& data, std::uint16_t number) {
  data.push_back(static_cast<std::uint8_t>(number >> 8));
  data.push_back(static_cast<std::uint8_t>(number & 0xFF));
}

/// Flags and one element of 16-bit key and content.
Data advertisement(std::uint8_t type, std::uint16_t key, const Data& content) {
  Data data{2, kFlags, kDiscoverableLowEnergyOnly};
  data.push_back(static_cast<std::uint8_t>(content.size() + 3));
  data.push_back(type);
  appendLittleEndian(data, key);
  data.insert(data.end(), content.begin(), content.end());
  return data;
}

}  // namespace

bool SimulatedBeacon::isOn(Date date) const {
  return std::ranges::none_of(off, [&](const DateInterval& span) { return span.contains(date); });
}

Data frameAdvertisement(const SimulatedBeacon& beacon) {
  const ManufacturerData frame =
      makeBeaconData({beacon.proximityUUID, beacon.major, beacon.minor, beacon.measuredPower});
  return advertisement(kManufacturerData, frame.company, frame.bytes);
}

Data batteryAdvertisement(const SimulatedBeacon& beacon) {
  if (!beacon.battery) return {};
  Data content;
  if (beacon.battery->layout == SimulatedBattery::Layout::name) {
    std::string tag = beacon.battery->name;
    tag.resize(4, ' ');
    content.assign(tag.begin(), tag.end());
  } else {
    const auto& uuid = beacon.proximityUUID.bytes;
    content.resize(1 + uuid.size());
    std::ranges::copy(uuid, content.begin() + 1);
    appendBigEndian(content, beacon.major);
    appendBigEndian(content, beacon.minor);
  }
  appendBigEndian(content, 0);
  content.push_back(beacon.battery->level);
  return advertisement(kServiceData16, kBatteryService, content);
}

}  // namespace ks
