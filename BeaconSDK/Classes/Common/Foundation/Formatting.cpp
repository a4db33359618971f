#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"

#include <fmt/printf.h>

#include <algorithm>
#include <type_traits>

namespace ks {

namespace {

/// One placeholder as written: "%-8.3ld".
struct Placeholder {
  /// "%-8.3": everything before the length modifier, as fmt reads it.
  std::string prefix = "%";
  std::string_view length;
  char conversion = 0;
  /// Characters from "%" to the conversion.
  std::size_t size = 0;
};

/// More digits of width or precision than this are no placeholder: a slip must not cost gigabytes.
constexpr std::size_t kMaxDigits = 4;

std::size_t countWhile(std::string_view text, std::size_t start, std::string_view characters) {
  const auto end = text.find_first_not_of(characters, start);
  return (end == std::string_view::npos ? text.size() : end) - start;
}

/// Reads the placeholder at the start of `text`; a conversion of 0 means that there is none.
Placeholder readPlaceholder(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789";
  Placeholder result;
  std::size_t position = 1;
  const auto take = [&](std::size_t count) {
    result.prefix += text.substr(position, count);
    position += count;
  };
  take(countWhile(text, position, "-+ #0"));
  const auto widthDigits = countWhile(text, position, kDigits);
  take(widthDigits);
  std::size_t precisionDigits = 0;
  if (position < text.size() && text[position] == '.') {
    take(1);
    precisionDigits = countWhile(text, position, kDigits);
    take(precisionDigits);
  }
  const auto lengthSize = countWhile(text, position, "hlqjztL");
  result.length = text.substr(position, lengthSize);
  position += lengthSize;
  if (position >= text.size() || widthDigits > kMaxDigits || precisionDigits > kMaxDigits) {
    return result;
  }
  result.size = position + 1;
  result.conversion = text[position];
  return result;
}

bool isNumber(const FormatArgument::Content& content) {
  return std::holds_alternative<std::int64_t>(content) ||
         std::holds_alternative<std::uint64_t>(content) || std::holds_alternative<double>(content);
}

std::string description(const FormatArgument::Content& content) {
  return std::visit(
      [](const auto& value) -> std::string {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return "(null)";
        } else if constexpr (std::is_same_v<T, double>) {
          return numberDescription(value);
        } else if constexpr (std::is_arithmetic_v<T>) {
          return std::to_string(value);
        } else if constexpr (std::is_same_v<T, std::string_view>) {
          return std::string(value);
        } else if constexpr (std::is_pointer_v<T>) {
          return value->description();
        } else if constexpr (std::is_same_v<T, Date>) {
          return dateDescription(value);
        } else {
          return value.UUIDString();
        }
      },
      content);
}

/// The bits of a number; a real is cut off to a whole one first.
std::uint64_t integerBits(const FormatArgument::Content& content) {
  if (const auto* number = std::get_if<std::uint64_t>(&content)) return *number;
  if (const auto* number = std::get_if<std::int64_t>(&content)) {
    return static_cast<std::uint64_t>(*number);
  }
  return static_cast<std::uint64_t>(Value(std::get<double>(content)).integerValue());
}

double realNumber(const FormatArgument::Content& content) {
  if (const auto* number = std::get_if<double>(&content)) return *number;
  if (const auto* number = std::get_if<std::int64_t>(&content)) {
    return static_cast<double>(*number);
  }
  return static_cast<double>(std::get<std::uint64_t>(content));
}

std::int64_t narrowedSigned(std::uint64_t bits, std::string_view length) {
  if (length.empty()) return static_cast<std::int32_t>(bits);
  if (length == "h") return static_cast<std::int16_t>(bits);
  if (length == "hh") return static_cast<std::int8_t>(bits);
  return static_cast<std::int64_t>(bits);
}

std::uint64_t narrowedUnsigned(std::uint64_t bits, std::string_view length) {
  if (length.empty()) return static_cast<std::uint32_t>(bits);
  if (length == "h") return static_cast<std::uint16_t>(bits);
  if (length == "hh") return static_cast<std::uint8_t>(bits);
  return bits;
}

bool isOneOf(char conversion, std::string_view conversions) {
  return conversions.find(conversion) != std::string_view::npos;
}

bool isUnderstood(char conversion) { return isOneOf(conversion, "@sdiuxXocfFeEgGaA"); }

std::string replacement(const Placeholder& placeholder, const FormatArgument::Content& content) {
  const char conversion = placeholder.conversion;
  const std::string format = placeholder.prefix + conversion;
  if (conversion == '@') return description(content);
  if (conversion == 's') return fmt::sprintf(format, description(content));
  if (!isNumber(content)) return description(content);
  if (isOneOf(conversion, "di")) {
    return fmt::sprintf(format, narrowedSigned(integerBits(content), placeholder.length));
  }
  if (isOneOf(conversion, "uxXo")) {
    return fmt::sprintf(format, narrowedUnsigned(integerBits(content), placeholder.length));
  }
  if (conversion == 'c') return fmt::sprintf(format, static_cast<char>(integerBits(content)));
  return fmt::sprintf(format, realNumber(content));
}

}  // namespace

std::string formatted(std::string_view format, std::span<const FormatArgument> arguments) {
  std::string result;
  result.reserve(format.size() + 32 * arguments.size());
  std::size_t next = 0;
  while (!format.empty()) {
    const auto percent = std::min(format.find('%'), format.size());
    result += format.substr(0, percent);
    format.remove_prefix(percent);
    if (format.empty()) break;
    if (format.starts_with("%%")) {
      result += '%';
      format.remove_prefix(2);
      continue;
    }
    const Placeholder placeholder = readPlaceholder(format);
    if (!isUnderstood(placeholder.conversion) || next >= arguments.size()) {
      result += '%';
      format.remove_prefix(1);
      continue;
    }
    result += replacement(placeholder, arguments[next++].content());
    format.remove_prefix(placeholder.size);
  }
  return result;
}

}  // namespace ks
