#include "BeaconSDK/Platform/Api/UUID.h"

namespace ks {

namespace {

constexpr std::size_t kTextLength = 36;

bool isHyphenPosition(std::size_t position) {
  return position == 8 || position == 13 || position == 18 || position == 23;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::optional<UUID> UUID::fromString(std::string_view text) {
  if (text.size() != kTextLength) return std::nullopt;
  UUID uuid;
  std::size_t digits = 0;
  for (std::size_t i = 0; i < kTextLength; ++i) {
    if (isHyphenPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int digit = hexDigit(text[i]);
    if (digit < 0) return std::nullopt;
    auto& byte = uuid.bytes[digits / 2];
    byte = static_cast<std::uint8_t>(byte << 4 | digit);
    ++digits;
  }
  return uuid;
}

std::string UUID::UUIDString() const {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(kTextLength);
  for (const auto byte : bytes) {
    if (isHyphenPosition(text.size())) text += '-';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

}  // namespace ks
