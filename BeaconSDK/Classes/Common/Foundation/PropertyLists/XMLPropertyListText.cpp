#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/XMLPropertyListText.h"

#include <charconv>
#include <chrono>
#include <cmath>

namespace ks::xml_property_list {

namespace {

constexpr std::string_view kSpace = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

template <class T, class... Format>
std::optional<T> number(std::string_view text, Format... format) {
  T value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, format...);
  if (error != std::errc{} || stop != end || text.empty()) return std::nullopt;
  return value;
}

/// The value of one character of base64, or nothing.
std::optional<unsigned> sextet(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return std::nullopt;
}

}  // namespace

std::optional<PropertyList::Node> integerFromText(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  if (text.starts_with("0x") || text.starts_with("0X")) {
    const auto bits = number<std::uint64_t>(text.substr(2), 16);
    if (!bits) return std::nullopt;
    return PropertyList::unsignedNode(*bits);
  }
  if (const auto value = number<std::int64_t>(text)) return PropertyList::integerNode(*value);
  if (const auto value = number<std::uint64_t>(text)) return PropertyList::unsignedNode(*value);
  return std::nullopt;
}

std::optional<double> realFromText(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  return number<double>(text);
}

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
  return numberDescription(value);
}

std::optional<std::string> dateText(Date date) {
  std::string text = dateDescription(date);
  if (text.starts_with('@')) return std::nullopt;
  text[10] = 'T';
  text.replace(19, std::string::npos, "Z");
  return text;
}

std::optional<Date> dateFromText(std::string_view text) {
  text = trimmed(text);
  constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
  if (text.size() != kForm.size()) return std::nullopt;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == '0' ? !isDigit : text[i] != kForm[i]) return std::nullopt;
  }
  const auto field = [&](std::size_t at, std::size_t size) {
    return number<int>(text.substr(at, size)).value_or(0);
  };
  using namespace std::chrono;
  const year_month_day day{year{field(0, 4)}, month(static_cast<unsigned>(field(5, 2))),
                           std::chrono::day(static_cast<unsigned>(field(8, 2)))};
  const int hour = field(11, 2);
  const int minute = field(14, 2);
  const int second = field(17, 2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
  return Date{sys_days{day}.time_since_epoch() + hours{hour} + minutes{minute} + seconds{second}};
}

std::optional<Data> dataFromText(std::string_view text) {
  Data data;
  data.reserve(text.size() / 4 * 3);
  unsigned bits = 0;
  int count = 0;
  int padding = 0;
  for (const char c : text) {
    if (kSpace.find(c) != std::string_view::npos) continue;
    const auto value = c == '=' ? std::optional(0u) : sextet(c);
    if (!value || (padding > 0 && c != '=')) return std::nullopt;
    if (c == '=') ++padding;
    bits = bits << 6 | *value;
    if (++count % 4 != 0) continue;
    for (int shift = 16; shift >= 0; shift -= 8) {
      data.push_back(static_cast<std::uint8_t>(bits >> shift));
    }
  }
  if (count % 4 != 0 || padding > 2) return std::nullopt;
  data.resize(data.size() - static_cast<std::size_t>(padding));
  return data;
}

}  // namespace ks::xml_property_list
