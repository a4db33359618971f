#include "BeaconSDK/Classes/Common/Foundation/UnicodeText.h"

#include <algorithm>
#include <cstddef>

namespace ks {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kInvalid = 0xFFFFFFFF;

bool isSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

/// The code point at `position`, which moves behind it; `kInvalid` and one byte further when there
/// is none (RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF).
char32_t nextUtf8(std::string_view text, std::size_t& position) {
  const auto first = static_cast<unsigned char>(text[position++]);
  if (first < 0x80) return first;
  const int length = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
  constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  if (length == 0 || first > 0xF4) return kInvalid;
  char32_t point = first & (0x3Fu >> length);
  for (int i = 0; i < length; ++i) {
    if (position + i >= text.size()) return kInvalid;
    const auto byte = static_cast<unsigned char>(text[position + i]);
    if ((byte & 0xC0) != 0x80) return kInvalid;
    point = point << 6 | (byte & 0x3F);
  }
  if (point < kSmallest[length] || point > 0x10FFFF || isSurrogate(point)) return kInvalid;
  position += length;
  return point;
}

void appendUtf8(std::string& text, char32_t point) {
  const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
  const auto tail = [&](int shift) { append(0x80 | (point >> shift & 0x3F)); };
  if (point < 0x80) {
    append(point);
  } else if (point < 0x800) {
    append(0xC0 | point >> 6);
    tail(0);
  } else if (point < 0x10000) {
    append(0xE0 | point >> 12);
    tail(6);
    tail(0);
  } else {
    append(0xF0 | point >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
}

void appendUnit(Data& data, char32_t unit) {
  data.push_back(static_cast<std::uint8_t>(unit >> 8));
  data.push_back(static_cast<std::uint8_t>(unit));
}

}  // namespace

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isValidUtf8(std::string_view text) {
  for (std::size_t position = 0; position < text.size();) {
    if (nextUtf8(text, position) == kInvalid) return false;
  }
  return true;
}

Data utf16FromUtf8(std::string_view text) {
  Data data;
  data.reserve(text.size() * 2);
  for (std::size_t position = 0; position < text.size();) {
    char32_t point = nextUtf8(text, position);
    if (point == kInvalid) point = kReplacement;
    if (point < 0x10000) {
      appendUnit(data, point);
    } else {
      appendUnit(data, 0xD800 + ((point - 0x10000) >> 10));
      appendUnit(data, 0xDC00 + ((point - 0x10000) & 0x3FF));
    }
  }
  return data;
}

std::string utf8FromUtf16(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve(bytes.size() / 2);
  const auto unitAt = [&](std::size_t i) { return char32_t{bytes[i]} << 8 | bytes[i + 1]; };
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    char32_t point = unitAt(i);
    if (isSurrogate(point)) {
      const char32_t next = i + 3 < bytes.size() ? unitAt(i + 2) : 0;
      const bool isPair = point < 0xDC00 && next >= 0xDC00 && next <= 0xDFFF;
      if (isPair) i += 2;
      point = isPair ? 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00) : kReplacement;
    }
    appendUtf8(text, point);
  }
  return text;
}

}  // namespace ks
