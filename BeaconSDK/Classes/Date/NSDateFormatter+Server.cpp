#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "BeaconSDK/Classes/Date/SystemTimeZone.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

namespace {

/// What one character of a text must be.
struct MaskCharacter {
  enum class Kind { literal, digit, sign };
  Kind kind = Kind::literal;
  /// The literal itself, or the letter of the field that the digit is part of.
  char symbol = 0;

  bool fits(char c) const {
    switch (kind) {
      case Kind::digit:
        return c >= '0' && c <= '9';
      case Kind::sign:
        return c == '+' || c == '-';
      case Kind::literal:
        break;
    }
    return c == symbol;
  }
};

/// One character per character of the text.
using Mask = std::vector<MaskCharacter>;

bool isPatternLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// Adds the characters that `count` times the letter `field` stands for; false when their number is
/// not fixed.
bool appendField(Mask& mask, char field, std::size_t count) {
  constexpr std::size_t kOffsetDigits = 4;
  const MaskCharacter digit{MaskCharacter::Kind::digit, field};
  if (field == 'Z' && count <= 3) {
    mask.push_back({MaskCharacter::Kind::sign});
    mask.insert(mask.end(), kOffsetDigits, digit);
    return true;
  }
  const bool isYear = std::string_view("yYu").find(field) != std::string_view::npos;
  const bool isTwoDigits = std::string_view("MdHhKkmsw").find(field) != std::string_view::npos;
  const bool isFixed =
      (isYear && (count == 2 || count == 4)) || (isTwoDigits && count == 2) || field == 'S';
  if (isFixed) mask.insert(mask.end(), count, digit);
  return isFixed;
}

/// The mask of all texts of a pattern, or nothing when they differ in length, as names do.
std::optional<Mask> maskOfPattern(std::string_view pattern) {
  Mask mask;
  bool isQuoted = false;
  for (std::size_t i = 0; i < pattern.size();) {
    const char c = pattern[i];
    if (c == '\'') {
      if (i + 1 < pattern.size() && pattern[i + 1] == '\'') {
        mask.push_back({MaskCharacter::Kind::literal, '\''});
        i += 2;
      } else {
        isQuoted = !isQuoted;
        ++i;
      }
    } else if (isQuoted || !isPatternLetter(c)) {
      mask.push_back({MaskCharacter::Kind::literal, c});
      ++i;
    } else {
      const auto end = std::min(pattern.find_first_not_of(c, i), pattern.size());
      if (!appendField(mask, c, end - i)) return std::nullopt;
      i = end;
    }
  }
  return mask;
}

bool fitsMask(const Mask& mask, std::string_view text) {
  return std::equal(mask.begin(), mask.end(), text.begin(), text.end(),
                    [](const MaskCharacter& expected, char c) { return expected.fits(c); });
}

/// Whether the texts say a moment by numbers alone: year, month, day, hour, minute, second and
/// digits of its fraction.
bool saysMoment(const Mask& mask) {
  constexpr std::pair<char, int> kFields[] = {{'y', 4}, {'M', 2}, {'d', 2},
                                              {'H', 2}, {'m', 2}, {'s', 2}};
  const auto digits = [&](char field) {
    return std::ranges::count_if(mask, [&](const MaskCharacter& each) {
      return each.kind == MaskCharacter::Kind::digit && each.symbol == field;
    });
  };
  auto others = std::ranges::count(mask, MaskCharacter::Kind::digit, &MaskCharacter::kind);
  others -= digits('S');
  for (const auto& [field, count] : kFields) {
    if (digits(field) != count) return false;
    others -= count;
  }
  return others == 0 &&
         std::ranges::count(mask, MaskCharacter::Kind::sign, &MaskCharacter::kind) == 0;
}

/// The moment in UTC that `text`, which fits the mask, says; much faster than the calendar library.
/// Nothing for what is out of range and for years that may be of the Julian calendar.
std::optional<double> millisecondsIn(const Mask& mask, std::string_view text) {
  constexpr int kFirstYear = 1600;
  std::array<int, 128> fields{};
  int weight = 100;
  for (std::size_t i = 0; i < mask.size(); ++i) {
    if (mask[i].kind != MaskCharacter::Kind::digit) continue;
    const int digit = text[i] - '0';
    int& field = fields[static_cast<unsigned char>(mask[i].symbol)];
    field = mask[i].symbol == 'S' ? field + digit * weight : field * 10 + digit;
    if (mask[i].symbol == 'S') weight /= 10;
  }
  using namespace std::chrono;
  const auto month = static_cast<unsigned>(fields['M']);
  const auto day = static_cast<unsigned>(fields['d']);
  const year_month_day date{year{fields['y']}, std::chrono::month{month}, std::chrono::day{day}};
  const bool isInRange = fields['y'] >= kFirstYear && date.ok() && fields['H'] < 24 &&
                         fields['m'] < 60 && fields['s'] < 60;
  if (!isInRange) return std::nullopt;
  const milliseconds moment = sys_days{date}.time_since_epoch() + hours{fields['H']} +
                              minutes{fields['m']} + seconds{fields['s']} +
                              milliseconds{fields['S']};
  return static_cast<double>(moment.count());
}

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

constexpr double kMillisecondsPerSecond = 1000;
constexpr double kMicrosecondsPerSecond = 1e6;

}  // namespace

struct NSDateFormatter::Implementation {
  std::unique_ptr<icu::SimpleDateFormat> format;
  std::optional<Mask> mask;
  bool saysMomentInUTC = false;
};

NSDateFormatter::NSDateFormatter(std::string pattern, const NSLocale& locale,
                                 const std::string& timeZoneName)
    : pattern_(std::move(pattern)), implementation_(std::make_unique<Implementation>()) {
  UErrorCode error = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(
      unicode(pattern_), icu::Locale(locale.localeIdentifier().c_str()), error);
  if (U_FAILURE(error)) return;
  format->adoptTimeZone(systemTimeZone(timeZoneName).release());
  format->setLenient(false);
  implementation_->format = std::move(format);
  implementation_->mask = maskOfPattern(pattern_);
  implementation_->saysMomentInUTC =
      timeZoneName == "UTC" && implementation_->mask && saysMoment(*implementation_->mask);
}

NSDateFormatter::~NSDateFormatter() = default;
NSDateFormatter::NSDateFormatter(NSDateFormatter&&) noexcept = default;
NSDateFormatter& NSDateFormatter::operator=(NSDateFormatter&&) noexcept = default;

std::string NSDateFormatter::stringFromDate(Date date) const {
  const double seconds = secondsSince1970(date);
  if (!implementation_->format || !std::isfinite(seconds)) return "";
  // A date's double is a little off its decimal fraction: whole microseconds keep .123 from
  // becoming .122.
  const double microseconds = std::round(seconds * kMicrosecondsPerSecond);
  icu::UnicodeString text;
  implementation_->format->format(microseconds / kMillisecondsPerSecond, text);
  std::string result;
  text.toUTF8String(result);
  return result;
}

std::optional<Date> NSDateFormatter::dateFromString(std::string_view text) const {
  const auto& [format, mask, saysMomentInUTC] = *implementation_;
  if (!format || (mask && !fitsMask(*mask, text))) return std::nullopt;
  if (saysMomentInUTC) {
    const auto moment = millisecondsIn(*mask, text);
    if (moment) return dateFromSecondsSince1970(*moment / kMillisecondsPerSecond);
  }
  const icu::UnicodeString source = unicode(text);
  icu::ParsePosition position(0);
  const UDate milliseconds = format->parse(source, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != source.length()) return std::nullopt;
  return dateFromSecondsSince1970(milliseconds / kMillisecondsPerSecond);
}

NSLocale wireLocale() { return {"en", "US_POSIX"}; }

namespace NSDateFormatterServer {

std::string serverDateFormat() { return "yyyy-MM-dd'T'HH:mm:ssZ"; }

NSDateFormatter serverDateFormatter() {
  return {serverDateFormat(), wireLocale(), Platform::current().timeZoneName()};
}

std::string serverDateText(Date date) {
  thread_local std::optional<std::pair<std::string, NSDateFormatter>> kept;
  std::string zone = Platform::current().timeZoneName();
  if (!kept || kept->first != zone) kept.emplace(std::move(zone), serverDateFormatter());
  return kept->second.stringFromDate(date);
}

}  // namespace NSDateFormatterServer

}  // namespace ks
