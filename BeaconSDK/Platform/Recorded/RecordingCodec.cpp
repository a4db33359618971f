#include "BeaconSDK/Platform/Recorded/RecordingCodec.h"

#include <bit>
#include <cmath>
#include <utility>

#include "BeaconSDK/Platform/Storage/ValueText.h"

namespace ks {

namespace {

using Kind = RecordedEvent::Kind;

/// More senders than any place has; the encoder then begins anew.
constexpr std::size_t kMostRepeated = 65'536;

enum AdvertisementFlags : std::uint8_t { kIsNew = 1, kHasAge = 2, kHasFraction = 4, kForgets = 8 };

void putNumber(Data& bytes, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7) bytes.push_back(static_cast<std::uint8_t>(number | 0x80));
  bytes.push_back(static_cast<std::uint8_t>(number));
}

void putSigned(Data& bytes, std::int64_t number) {
  putNumber(bytes,
            (static_cast<std::uint64_t>(number) << 1) ^ static_cast<std::uint64_t>(number >> 63));
}

void putReal(Data& bytes, double number) {
  const auto bits = std::bit_cast<std::uint64_t>(number);
  for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
}

void putText(Data& bytes, std::string_view text) {
  putNumber(bytes, text.size());
  bytes.insert(bytes.end(), text.begin(), text.end());
}

/// Everything of an advertisement but its strength and age.
Dictionary repeatedPart(const Advertisement& advertisement, const std::string& address) {
  std::vector<Value> makers;
  for (const auto& data : advertisement.manufacturerData) {
    makers.push_back(Dictionary{{"company", data.company}, {"bytes", data.bytes}});
  }
  std::vector<Value> services;
  for (const auto& data : advertisement.serviceData) {
    services.push_back(Dictionary{{"service", data.service.UUIDString}, {"bytes", data.bytes}});
  }
  std::vector<Value> named;
  for (const auto& service : advertisement.services) named.emplace_back(service.UUIDString);
  return {{"address", address},
          {"makers", Array(std::move(makers))},
          {"services", Array(std::move(services))},
          {"named", Array(std::move(named))},
          {"skipped", advertisement.skippedElements}};
}

const std::vector<Value>& itemsOf(const Value& value) {
  static const std::vector<Value> kNone;
  return value.array() ? value.array()->items : kNone;
}

Data bytesOf(const Value& value) { return value.data() ? *value.data() : Data{}; }

Advertisement advertisementFrom(const Dictionary& part) {
  static const Dictionary kEmpty;
  Advertisement made;
  made.address = part["address"].stringValue().value_or("");
  made.skippedElements = static_cast<std::uint32_t>(part["skipped"].integerValue());
  for (const Value& item : itemsOf(part["makers"])) {
    const Dictionary& data = item.dictionary() ? *item.dictionary() : kEmpty;
    made.manufacturerData.push_back(
        {static_cast<std::uint16_t>(data["company"].integerValue()), bytesOf(data["bytes"])});
  }
  for (const Value& item : itemsOf(part["services"])) {
    const Dictionary& data = item.dictionary() ? *item.dictionary() : kEmpty;
    made.serviceData.push_back(
        {{data["service"].stringValue().value_or("")}, bytesOf(data["bytes"])});
  }
  for (const Value& item : itemsOf(part["named"])) {
    made.services.push_back({item.stringValue().value_or("")});
  }
  return made;
}

/// Identifies the repeated part without writing it out.
std::string keyOf(const Advertisement& advertisement) {
  Data key;
  putText(key, advertisement.address);
  for (const auto& data : advertisement.manufacturerData) {
    putNumber(key, data.company);
    putNumber(key, data.bytes.size());
    key.insert(key.end(), data.bytes.begin(), data.bytes.end());
  }
  key.push_back(0);
  for (const auto& data : advertisement.serviceData) {
    putText(key, data.service.UUIDString);
    putNumber(key, data.bytes.size());
    key.insert(key.end(), data.bytes.begin(), data.bytes.end());
  }
  key.push_back(0);
  for (const auto& service : advertisement.services) putText(key, service.UUIDString);
  putNumber(key, advertisement.skippedElements);
  return {key.begin(), key.end()};
}

}  // namespace

void RecordingEncoder::add(const RecordedEvent& event) {
  if (event.kind == Kind::begin) {
    last_ = 0;
    repeated_.clear();
  }
  bytes_.push_back(static_cast<std::uint8_t>(event.kind));
  putSigned(bytes_, event.microseconds - std::exchange(last_, event.microseconds));
  switch (event.kind) {
    case Kind::advertisement:
      return addAdvertisement(event.advertisement);
    case Kind::fix:
      putReal(bytes_, event.location.coordinate.latitude);
      putReal(bytes_, event.location.coordinate.longitude);
      putReal(bytes_, event.location.horizontalAccuracy.value);
      return putReal(bytes_, secondsSince1970(event.location.timestamp));
    case Kind::mark:
      return putNumber(bytes_, event.subject);
    default:
      putNumber(bytes_, event.subject);
      // Without objects, which nothing that enters holds, there is always a text.
      putText(bytes_, event.details.empty() ? "" : valueToText(event.details).value_or(""));
  }
}

void RecordingEncoder::addAdvertisement(const Advertisement& advertisement) {
  std::uint8_t flags = 0;
  if (repeated_.size() >= kMostRepeated) {
    flags |= kForgets;
    repeated_.clear();
  }
  const auto [known, isNew] = repeated_.try_emplace(keyOf(advertisement), repeated_.size());
  const double rssi = advertisement.rssi.value;
  const bool isWhole = std::abs(rssi) < 1000 && rssi == std::round(rssi);
  if (isNew) flags |= kIsNew;
  if (advertisement.age.count() != 0) flags |= kHasAge;
  if (!isWhole) flags |= kHasFraction;
  bytes_.push_back(flags);
  if (isNew) {
    const std::string address =
        isPrivate_ ? "sender " + std::to_string(known->second) : advertisement.address;
    putText(bytes_, valueToText(repeatedPart(advertisement, address)).value_or(""));
  } else {
    putNumber(bytes_, known->second);
  }
  if (isWhole) putSigned(bytes_, static_cast<std::int64_t>(rssi));
  if (!isWhole) putReal(bytes_, rssi);
  if (advertisement.age.count() != 0) putReal(bytes_, advertisement.age.count());
}

void RecordingDecoder::setBlock(Data block) {
  block_ = std::move(block);
  at_ = 0;
}

std::optional<std::uint64_t> RecordingDecoder::number() {
  std::uint64_t result = 0;
  for (unsigned shift = 0; shift < 64 && at_ < block_.size(); shift += 7) {
    const std::uint8_t byte = block_[at_++];
    result |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) return result;
  }
  return std::nullopt;
}

std::optional<std::int64_t> RecordingDecoder::signedNumber() {
  const auto bits = number();
  if (!bits) return std::nullopt;
  return static_cast<std::int64_t>((*bits >> 1) ^ (~(*bits & 1) + 1));
}

std::optional<double> RecordingDecoder::real() {
  if (block_.size() - at_ < 8) return std::nullopt;
  std::uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) bits |= static_cast<std::uint64_t>(block_[at_++]) << (8 * i);
  return std::bit_cast<double>(bits);
}

std::optional<std::string> RecordingDecoder::text() {
  const auto size = number();
  if (!size || *size > block_.size() - at_) return std::nullopt;
  std::string result(block_.begin() + static_cast<std::ptrdiff_t>(at_),
                     block_.begin() + static_cast<std::ptrdiff_t>(at_ + *size));
  at_ += *size;
  return result;
}

bool RecordingDecoder::next(RecordedEvent& event) {
  if (!isSound_ || at_ >= block_.size()) return false;
  isSound_ = false;
  const std::uint8_t kind = block_[at_++];
  const auto elapsed = signedNumber();
  // A hundred years.
  constexpr std::int64_t kLongest = 3'155'760'000'000'000;
  if (kind > static_cast<std::uint8_t>(RecordedEvent::kLastKind) || !elapsed) return false;
  event.kind = static_cast<Kind>(kind);
  if (event.kind == Kind::begin) {
    last_ = 0;
    repeated_.clear();
  }
  if (std::abs(*elapsed) > kLongest) return false;
  last_ += *elapsed;
  if (last_ < 0 || last_ > kLongest) return false;
  event.microseconds = last_;
  switch (event.kind) {
    case Kind::advertisement:
      return isSound_ = readAdvertisement(event);
    case Kind::fix:
      return isSound_ = readFix(event);
    default:
      return isSound_ = readDetails(event);
  }
}

bool RecordingDecoder::readAdvertisement(RecordedEvent& event) {
  if (at_ >= block_.size()) return false;
  const std::uint8_t flags = block_[at_++];
  if ((flags & kForgets) != 0) repeated_.clear();
  std::uint64_t which = repeated_.size();
  if ((flags & kIsNew) != 0) {
    const auto part = text();
    const auto value = part ? valueFromText(*part) : std::nullopt;
    if (!value || value->dictionary() == nullptr || which >= kMostRepeated) return false;
    repeated_.push_back(advertisementFrom(*value->dictionary()));
  } else {
    const auto known = number();
    if (!known || *known >= repeated_.size()) return false;
    which = *known;
  }
  event.advertisement = repeated_[which];
  if ((flags & kHasFraction) != 0) {
    const auto rssi = real();
    if (!rssi) return false;
    event.advertisement.rssi = Dbm{*rssi};
  } else {
    const auto rssi = signedNumber();
    if (!rssi) return false;
    event.advertisement.rssi = Dbm{static_cast<double>(*rssi)};
  }
  if ((flags & kHasAge) == 0) return true;
  const auto age = real();
  if (!age) return false;
  event.advertisement.age = Seconds{*age};
  return true;
}

bool RecordingDecoder::readFix(RecordedEvent& event) {
  const auto latitude = real();
  const auto longitude = real();
  const auto accuracy = real();
  const auto timestamp = real();
  if (!timestamp) return false;
  event.location = {
      {*latitude, *longitude}, Metres{*accuracy}, dateFromSecondsSince1970(*timestamp)};
  return true;
}

bool RecordingDecoder::readDetails(RecordedEvent& event) {
  const auto subject = number();
  if (!subject) return false;
  event.subject = *subject;
  event.details = {};
  if (event.kind == Kind::mark) return true;
  const auto details = text();
  if (!details) return false;
  if (details->empty()) return true;
  const auto value = valueFromText(*details);
  if (!value || value->dictionary() == nullptr) return false;
  event.details = *value->dictionary();
  return true;
}

}  // namespace ks
