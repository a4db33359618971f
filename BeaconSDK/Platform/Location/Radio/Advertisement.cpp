#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "BeaconSDK/Platform/Api/Ascii.h"

namespace ks {

namespace {

// Element types of the Bluetooth assigned numbers, "Common Data Types".
enum ElementType : std::uint8_t {
  kIncompleteServices16 = 0x02,
  kCompleteServices16 = 0x03,
  kIncompleteServices32 = 0x04,
  kCompleteServices32 = 0x05,
  kIncompleteServices128 = 0x06,
  kCompleteServices128 = 0x07,
  kServiceData16 = 0x16,
  kServiceData32 = 0x20,
  kServiceData128 = 0x21,
  kManufacturerData = 0xFF,
};

constexpr std::uint16_t kBeaconCompany = 0x004C;
constexpr std::uint8_t kBeaconType = 0x02;
constexpr std::uint8_t kBeaconLength = 0x15;
constexpr std::size_t kBeaconHeader = 2;

// "0000xxxx-0000-1000-8000-00805F9B34FB" names the short identifier xxxx.
constexpr std::string_view kBaseSuffix = "-0000-1000-8000-00805F9B34FB";
constexpr std::string_view kShortPrefix = "0000";

using Bytes = std::span<const std::uint8_t>;

// Identifiers travel least significant byte first.
CBUUID serviceFromWire(Bytes wire) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = wire.size(); i-- > 0;) {
    text += kDigits[wire[i] >> 4];
    text += kDigits[wire[i] & 0x0F];
    const std::size_t written = wire.size() - i;
    const bool hyphen = written == 4 || written == 6 || written == 8 || written == 10;
    if (wire.size() == 16 && hyphen) text += '-';
  }
  return serviceIdentifier(text);
}

std::uint16_t bigEndian16(Bytes bytes) {
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

bool addServiceData(Bytes content, std::size_t width, Advertisement& into) {
  if (content.size() < width) return false;
  const auto data = content.subspan(width);
  into.serviceData.push_back(
      {serviceFromWire(content.first(width)), Data(data.begin(), data.end())});
  return true;
}

bool addServices(Bytes content, std::size_t width, Advertisement& into) {
  if (content.size() % width != 0) return false;
  for (; !content.empty(); content = content.subspan(width)) {
    into.services.push_back(serviceFromWire(content.first(width)));
  }
  return true;
}

bool addManufacturerData(Bytes content, Advertisement& into) {
  if (content.size() < 2) return false;
  const auto data = content.subspan(2);
  const auto company = static_cast<std::uint16_t>(content[0] | content[1] << 8);
  into.manufacturerData.push_back({company, Data(data.begin(), data.end())});
  return true;
}

bool addElement(std::uint8_t type, Bytes content, Advertisement& into) {
  switch (type) {
    case kIncompleteServices16:
    case kCompleteServices16:
      return addServices(content, 2, into);
    case kIncompleteServices32:
    case kCompleteServices32:
      return addServices(content, 4, into);
    case kIncompleteServices128:
    case kCompleteServices128:
      return addServices(content, 16, into);
    case kServiceData16:
      return addServiceData(content, 2, into);
    case kServiceData32:
      return addServiceData(content, 4, into);
    case kServiceData128:
      return addServiceData(content, 16, into);
    case kManufacturerData:
      return addManufacturerData(content, into);
    default:
      return true;
  }
}

}  // namespace

Advertisement parseAdvertisement(std::string address, Bytes bytes, Dbm rssi) {
  Advertisement result;
  result.address = std::move(address);
  result.rssi = rssi;
  while (!bytes.empty()) {
    const std::size_t length = bytes[0];
    if (length == 0 || length >= bytes.size()) {
      ++result.skippedElements;
      break;
    }
    if (!addElement(bytes[1], bytes.subspan(2, length - 1), result)) ++result.skippedElements;
    bytes = bytes.subspan(1 + length);
  }
  return result;
}

CBUUID serviceIdentifier(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(), asciiUpperCase);
  std::string_view shorter = upper;
  if (shorter.ends_with(kBaseSuffix)) shorter.remove_suffix(kBaseSuffix.size());
  if (shorter.size() == 8 && shorter.starts_with(kShortPrefix)) {
    shorter.remove_prefix(kShortPrefix.size());
  }
  return {std::string(shorter)};
}

CBUUID serviceIdentifier(std::uint16_t shortUUID) {
  const std::uint8_t wire[] = {static_cast<std::uint8_t>(shortUUID & 0xFF),
                               static_cast<std::uint8_t>(shortUUID >> 8)};
  return serviceFromWire(wire);
}

BeaconReading readBeaconFrame(const ManufacturerData& data) {
  const Bytes bytes = data.bytes;
  if (data.company != kBeaconCompany || bytes.empty() || bytes[0] != kBeaconType) return {};
  if (bytes.size() != kBeaconHeader + kBeaconLength || bytes[1] != kBeaconLength) {
    return {std::nullopt, true};
  }
  BeaconFrame frame;
  std::copy_n(bytes.begin() + kBeaconHeader, frame.proximityUUID.bytes.size(),
              frame.proximityUUID.bytes.begin());
  frame.major = bigEndian16(bytes.subspan(18));
  frame.minor = bigEndian16(bytes.subspan(20));
  frame.measuredPower = {static_cast<double>(static_cast<std::int8_t>(bytes[22]))};
  return {frame, false};
}

ManufacturerData makeBeaconData(const BeaconFrame& frame) {
  ManufacturerData data{kBeaconCompany, {}};
  auto& bytes = data.bytes;
  bytes.reserve(kBeaconHeader + kBeaconLength);
  bytes.push_back(kBeaconType);
  bytes.push_back(kBeaconLength);
  const auto& uuid = frame.proximityUUID.bytes;
  bytes.insert(bytes.end(), uuid.begin(), uuid.end());
  for (const auto number : {frame.major, frame.minor}) {
    bytes.push_back(static_cast<std::uint8_t>(number >> 8));
    bytes.push_back(static_cast<std::uint8_t>(number & 0xFF));
  }
  const double power = std::clamp(std::round(frame.measuredPower.value), -128.0, 127.0);
  bytes.push_back(static_cast<std::uint8_t>(static_cast<std::int8_t>(power)));
  return data;
}

}  // namespace ks
