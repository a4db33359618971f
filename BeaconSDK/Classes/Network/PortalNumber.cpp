#include "BeaconSDK/Classes/Network/PortalNumber.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace ks::PortalNumber {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// `text` from its number on: without leading blanks and without a plus sign. Empty when what
/// follows the sign is neither a digit nor, where allowed, a decimal point.
std::string_view numberIn(std::string_view text, bool mayStartWithPoint) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  const bool isSigned = text.starts_with('+') || text.starts_with('-');
  const auto digits = text.substr(isSigned ? 1 : 0);
  if (digits.empty()) return {};
  if (!isDigit(digits.front()) && !(mayStartWithPoint && digits.front() == '.')) return {};
  return text.starts_with('+') ? digits : text;
}

/// The power of ten of the first digit other than 0, for a number that has one: 2 for "120", -3 for
/// "0.001", 400 for "1e400". Exponents of more than 15 digits count as 10^15.
std::int64_t orderOfMagnitude(std::string_view number) {
  constexpr std::int64_t kHugeExponent = 1'000'000'000'000'000;
  const auto exponentAt = std::min(number.find_first_of("eE"), number.size());
  const auto pointAt = std::min(number.find('.'), exponentAt);
  const auto digitAt = number.find_first_of("123456789");
  const auto distance = static_cast<std::int64_t>(pointAt) - static_cast<std::int64_t>(digitAt);
  const std::int64_t order = distance > 0 ? distance - 1 : distance;
  if (exponentAt == number.size()) return order;

  auto exponentText = number.substr(exponentAt + 1);
  const bool isNegative = exponentText.starts_with('-');
  if (isNegative || exponentText.starts_with('+')) exponentText.remove_prefix(1);
  std::int64_t exponent = 0;
  const auto result =
      std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  if (result.ec != std::errc{}) exponent = kHugeExponent;
  exponent = std::min(exponent, kHugeExponent);
  return isNegative ? order - exponent : order + exponent;
}

}  // namespace

std::int32_t integerFromText(std::string_view text) {
  const auto number = numberIn(text, false);
  std::int32_t value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  return number.starts_with('-') ? std::numeric_limits<std::int32_t>::min()
                                 : std::numeric_limits<std::int32_t>::max();
}

std::optional<double> nearestDouble(std::string_view decimal) {
  double value = 0;
  const auto result = std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  const std::string_view used(decimal.data(),
                              static_cast<std::size_t>(result.ptr - decimal.data()));
  if (orderOfMagnitude(used) < 0) return 0;
  return std::nullopt;
}

double doubleFromText(std::string_view text) {
  const auto number = numberIn(text, true);
  if (const auto value = nearestDouble(number)) return *value;
  return number.starts_with('-') ? std::numeric_limits<double>::lowest()
                                 : std::numeric_limits<double>::max();
}

float floatFromText(std::string_view text) {
  constexpr double kLimit = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(doubleFromText(text), -kLimit, kLimit));
}

}  // namespace ks::PortalNumber
