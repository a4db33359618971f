#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kSkipped = 0xFF;
constexpr std::size_t kBytesPerGroup = 3;
constexpr std::size_t kCharactersPerGroup = 4;
constexpr std::size_t kBytesPerLine = 48;
constexpr std::size_t kCharactersPerLine = 64;

constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kSkipped);
  for (std::uint8_t i = 0; i < 64; ++i) values[static_cast<std::uint8_t>(kAlphabet[i])] = i;
  return values;
}();

struct Freer {
  void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

char* NewBase64Encode(const void* buffer, std::size_t length, bool separateLines,
                      std::size_t* outputLength) {
  const auto* const bytes = static_cast<const std::uint8_t*>(buffer);
  std::size_t capacity =
      (length / kBytesPerGroup + (length % kBytesPerGroup != 0 ? 1 : 0)) * kCharactersPerGroup;
  if (separateLines) capacity += capacity / kCharactersPerLine * 2;
  auto* const text = static_cast<char*>(std::malloc(capacity + 1));
  if (text == nullptr) return nullptr;

  char* out = text;
  for (std::size_t i = 0; i < length; i += kBytesPerGroup) {
    if (separateLines && i > 0 && i % kBytesPerLine == 0) {
      *out++ = '\r';
      *out++ = '\n';
    }
    const std::size_t count = std::min(kBytesPerGroup, length - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < kBytesPerGroup; ++k) {
      group = group << 8 | (k < count ? bytes[i + k] : 0U);
    }
    *out++ = kAlphabet[group >> 18];
    *out++ = kAlphabet[group >> 12 & 0x3F];
    *out++ = count > 1 ? kAlphabet[group >> 6 & 0x3F] : '=';
    *out++ = count > 2 ? kAlphabet[group & 0x3F] : '=';
  }
  *out = '\0';
  if (outputLength != nullptr) *outputLength = static_cast<std::size_t>(out - text);
  return text;
}

void* NewBase64Decode(const char* inputBuffer, std::size_t length, std::size_t* outputLength) {
  if (length >= SIZE_MAX - 1) length = std::strlen(inputBuffer);
  // Whole groups are written even where the text ends inside one: three bytes of room beyond.
  const std::size_t capacity = length / kCharactersPerGroup * kBytesPerGroup + 2 * kBytesPerGroup;
  auto* const bytes = static_cast<std::uint8_t*>(std::malloc(capacity));
  if (bytes == nullptr) return nullptr;

  std::array<std::uint8_t, kCharactersPerGroup> group{};
  std::size_t position = 0;
  std::size_t size = 0;
  while (position < length) {
    std::size_t collected = 0;
    while (position < length && collected < group.size()) {
      const auto value = kValues[static_cast<std::uint8_t>(inputBuffer[position++])];
      if (value != kSkipped) group[collected++] = value;
    }
    bytes[size] = static_cast<std::uint8_t>(group[0] << 2 | group[1] >> 4);
    bytes[size + 1] = static_cast<std::uint8_t>(group[1] << 4 | group[2] >> 2);
    bytes[size + 2] = static_cast<std::uint8_t>(group[2] << 6 | group[3]);
    // A last group without a character takes one byte back, where there is one.
    size = size + collected > 0 ? size + collected - 1 : 0;
  }
  if (outputLength != nullptr) *outputLength = size;
  return bytes;
}

namespace ks::NSDataBase64 {

std::string base64EncodedString(std::string_view bytes) {
  std::size_t length = 0;
  const std::unique_ptr<char, Freer> text(
      NewBase64Encode(bytes.data(), bytes.size(), true, &length));
  return text ? std::string(text.get(), length) : std::string();
}

std::string base64EncodedString(const Data& data) {
  return base64EncodedString(
      std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
}

Data dataFromBase64String(std::string_view text) {
  std::size_t length = 0;
  const std::unique_ptr<void, Freer> bytes(NewBase64Decode(text.data(), text.size(), &length));
  if (!bytes) return {};
  const auto* const start = static_cast<const std::uint8_t*>(bytes.get());
  return {start, start + length};
}

}  // namespace ks::NSDataBase64
