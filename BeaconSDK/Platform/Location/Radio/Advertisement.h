#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/UUID.h"
#include "BeaconSDK/Platform/Api/Units.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Manufacturer-specific data: the company's number in the Bluetooth SIG's list and the bytes after
/// it.
struct ManufacturerData {
  std::uint16_t company = 0;
  Data bytes;
  friend bool operator==(const ManufacturerData&, const ManufacturerData&) = default;
};

/// Data that an advertisement carries for one service.
struct ServiceData {
  CBUUID service;
  Data bytes;
  friend bool operator==(const ServiceData&, const ServiceData&) = default;
};

/// One received Bluetooth Low Energy advertisement, parsed from raw bytes or supplied in parts by a
/// Bluetooth daemon.
struct Advertisement {
  /// Identifies the sender while a scan lasts, such as "AA:BB:CC:DD:EE:FF".
  std::string address;
  /// Values outside -127 to -1: not measured.
  Dbm rssi{0};
  /// How long ago it was received, for sources that report in batches.
  Seconds age{0};
  std::vector<ManufacturerData> manufacturerData;
  std::vector<ServiceData> serviceData;
  /// Services listed without data.
  std::vector<CBUUID> services;
  /// Elements of the raw bytes that were malformed, truncated or padding.
  std::uint32_t skippedElements = 0;
};

using AdvertisementListener = std::function<void(const Advertisement&)>;

/// Parses the length-type-value elements of an advertisement: manufacturer data (type 0xFF),
/// service data and service lists of 16, 32 and 128 bits. Ignores other types. Never fails: an
/// element that is too short for its type or longer than the remaining bytes is skipped and
/// counted, and so is padding, which ends the parsing.
Advertisement parseAdvertisement(std::string address, std::span<const std::uint8_t> bytes,
                                 Dbm rssi);

/// Returns the short form of a service identifier: upper case, and 16 bits if it is based on the
/// Bluetooth base UUID ("0000d00d-0000-1000-8000-00805f9b34fb" becomes "D00D").
CBUUID serviceIdentifier(std::string_view text);
CBUUID serviceIdentifier(std::uint16_t shortUUID);

/// The content of a proximity beacon's frame.
struct BeaconFrame {
  UUID proximityUUID;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  /// The strength at 1 m, as measured by the maker.
  Dbm measuredPower{0};
  friend bool operator==(const BeaconFrame&, const BeaconFrame&) = default;
};

/// The beacon frame in manufacturer data: company 0x004C, type 0x02, length 0x15, UUID, major and
/// minor big-endian, measured power as a signed byte, and nothing after it.
struct BeaconReading {
  std::optional<BeaconFrame> frame;
  /// The data has this type but another length.
  bool malformed = false;
};
BeaconReading readBeaconFrame(const ManufacturerData& data);

/// The inverse of `readBeaconFrame`; the power is rounded and clamped to -128 to 127.
ManufacturerData makeBeaconData(const BeaconFrame& frame);

}  // namespace ks
