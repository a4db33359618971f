#include "tools/ksbeacon/documents/MomentText.h"

#include <chrono>

namespace ks::tool {

namespace {

/// Reads exactly `digits` decimal digits at the front and takes them off.
std::optional<int> takeNumber(std::string_view& text, std::size_t digits) {
  if (text.size() < digits) return std::nullopt;
  int value = 0;
  for (const char c : text.substr(0, digits)) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  text.remove_prefix(digits);
  return value;
}

bool take(std::string_view& text, char wanted) {
  if (!text.starts_with(wanted)) return false;
  text.remove_prefix(1);
  return true;
}

/// "Z", "+02:00" or "-05:30", in seconds east of Greenwich.
std::optional<double> takeOffset(std::string_view& text) {
  if (take(text, 'Z')) return 0;
  const bool west = text.starts_with('-');
  if (!take(text, '-') && !take(text, '+')) return std::nullopt;
  const auto hours = takeNumber(text, 2);
  const bool colon = take(text, ':');
  const auto minutes = takeNumber(text, 2);
  if (!hours || !colon || !minutes || *hours > 14 || *minutes > 59) return std::nullopt;
  return (west ? -1 : 1) * (*hours * 3600 + *minutes * 60);
}

/// ".25" or nothing.
double takeFraction(std::string_view& text) {
  if (text.size() < 2 || text[0] != '.') return 0;
  text.remove_prefix(1);
  double fraction = 0;
  for (double share = 0.1; !text.empty() && text[0] >= '0' && text[0] <= '9'; share /= 10) {
    fraction += share * (text[0] - '0');
    text.remove_prefix(1);
  }
  return fraction;
}

}  // namespace

std::optional<Date> dateFromText(std::string_view text) {
  const auto year = takeNumber(text, 4);
  if (!take(text, '-')) return std::nullopt;
  const auto month = takeNumber(text, 2);
  if (!take(text, '-')) return std::nullopt;
  const auto day = takeNumber(text, 2);
  if (!take(text, 'T')) return std::nullopt;
  const auto hour = takeNumber(text, 2);
  if (!take(text, ':')) return std::nullopt;
  const auto minute = takeNumber(text, 2);
  if (!take(text, ':')) return std::nullopt;
  const auto second = takeNumber(text, 2);
  if (!year || !month || !day || !hour || !minute || !second) return std::nullopt;
  const double fraction = takeFraction(text);
  const auto offset = takeOffset(text);
  if (!offset || !text.empty() || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year{*year} /
                                         std::chrono::month{static_cast<unsigned>(*month)} /
                                         std::chrono::day{static_cast<unsigned>(*day)}};
  if (!date.ok() || *year < 1970) return std::nullopt;
  const auto days = static_cast<double>(std::chrono::sys_days{date}.time_since_epoch().count());
  return dateFromSecondsSince1970(days * 86400 + *hour * 3600 + *minute * 60 + *second + fraction -
                                  *offset);
}

std::optional<double> momentFromText(std::string_view text) {
  double seconds = 0;
  int parts = 0;
  while (parts < 3) {
    const std::size_t digits = text.find_first_not_of("0123456789") == std::string_view::npos
                                   ? text.size()
                                   : text.find_first_not_of("0123456789");
    const bool first = parts == 0;
    if (digits == 0 || digits > 4 || (!first && digits != 2)) return std::nullopt;
    const int value = *takeNumber(text, digits);
    if (!first && value > 59) return std::nullopt;
    seconds = seconds * 60 + value;
    ++parts;
    if (text.empty()) break;
    if (!take(text, ':')) return std::nullopt;
  }
  return parts >= 2 && text.empty() ? std::optional(seconds) : std::nullopt;
}

}  // namespace ks::tool
