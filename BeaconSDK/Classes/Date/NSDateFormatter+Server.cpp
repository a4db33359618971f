#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

namespace {

/// What one character of a text must be.
struct MaskCharacter {
  enum class Kind { literal, digit, sign };
  Kind kind = Kind::literal;
  char literal = 0;

  bool fits(char c) const {
    switch (kind) {
      case Kind::digit:
        return c >= '0' && c <= '9';
      case Kind::sign:
        return c == '+' || c == '-';
      case Kind::literal:
        break;
    }
    return c == literal;
  }
};

/// One character per character of the text.
using Mask = std::vector<MaskCharacter>;

bool isPatternLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// Adds the characters that `count` times the letter `field` stands for; false when their number is
/// not fixed.
bool appendField(Mask& mask, char field, std::size_t count) {
  constexpr std::size_t kOffsetDigits = 4;
  const MaskCharacter digit{MaskCharacter::Kind::digit};
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

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

constexpr double kMillisecondsPerSecond = 1000;
constexpr double kMicrosecondsPerSecond = 1e6;

}  // namespace

struct NSDateFormatter::Implementation {
  std::unique_ptr<icu::SimpleDateFormat> format;
  std::optional<Mask> mask;
};

NSDateFormatter::NSDateFormatter(std::string pattern, const NSLocale& locale,
                                 const std::string& timeZoneName)
    : pattern_(std::move(pattern)), implementation_(std::make_unique<Implementation>()) {
  UErrorCode error = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(
      unicode(pattern_), icu::Locale(locale.localeIdentifier().c_str()), error);
  if (U_FAILURE(error)) return;
  format->adoptTimeZone(icu::TimeZone::createTimeZone(unicode(timeZoneName)));
  format->setLenient(false);
  implementation_->format = std::move(format);
  implementation_->mask = maskOfPattern(pattern_);
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
  const auto& [format, mask] = *implementation_;
  if (!format || (mask && !fitsMask(*mask, text))) return std::nullopt;
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

}  // namespace NSDateFormatterServer

}  // namespace ks
