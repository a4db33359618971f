#include "BeaconSDK/Platform/Common/PrintableText.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace ks {

namespace {

constexpr char32_t kInvalid = 0xFFFD;

/// One character of a text and how many bytes it takes.
struct Character {
  char32_t code;
  std::size_t length;
};

/// The first character of a text that is not empty; `kInvalid` of one byte where it is no UTF-8.
Character firstOf(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x80) return {byte(0), 1};
  struct Form {
    unsigned char mask, lead;
    std::size_t length;
    char32_t least;
  };
  constexpr Form kForms[] = {
      {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};
  for (const Form& form : kForms) {
    if ((byte(0) & form.mask) != form.lead || text.size() < form.length) continue;
    char32_t code = byte(0) & static_cast<unsigned char>(~form.mask);
    const auto rest = text.substr(1, form.length - 1);
    if (!std::ranges::all_of(rest, [](char c) { return (c & 0xC0) == 0x80; })) break;
    for (const char c : rest) code = code << 6 | (static_cast<unsigned char>(c) & 0x3FU);
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    if (code < form.least || code > 0x10FFFF || isSurrogate) break;
    return {code, form.length};
  }
  return {kInvalid, 1};
}

bool isUnprintable(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029 ||
         (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

/// Calls `take` with each character and its bytes; U+FFFD where they are no UTF-8.
template <class Take>
void eachCharacter(std::string_view text, const Take& take) {
  while (!text.empty()) {
    const auto [code, length] = firstOf(text);
    const bool isInvalid = code == kInvalid && length == 1;
    take(code, isInvalid ? "\xEF\xBF\xBD" : text.substr(0, length));
    text.remove_prefix(length);
  }
}

}  // namespace

std::string printable(std::string_view text) {
  std::string clean;
  clean.reserve(text.size());
  eachCharacter(text, [&](char32_t code, std::string_view bytes) {
    clean += isUnprintable(code) ? " " : bytes;
  });
  return clean;
}

std::string quotedJson(std::string_view text) {
  std::string json = "\"";
  json.reserve(text.size() + 2);
  eachCharacter(text, [&](char32_t code, std::string_view bytes) {
    const std::size_t named = std::string_view("\b\t\n\f\r\"\\").find(bytes);
    if (named != std::string_view::npos && bytes.size() == 1) {
      json += '\\';
      json += "btnfr\"\\"[named];
    } else if (isUnprintable(code)) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(code) & 0xFFFFU);
      json += escape;
    } else {
      json += bytes;
    }
  });
  return json + '"';
}

}  // namespace ks
