#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Formats and parses dates by a pattern of the Unicode date field symbols (UTS 35).
///
/// Not thread-safe, const operations included. Construction takes tens of microseconds, so reuse a
/// formatter for many dates.
class NSDateFormatter {
 public:
  /// `timeZoneName` is an Olson name or "UTC"; unknown names mean UTC. With an invalid pattern,
  /// formatting returns an empty text and parsing returns no date.
  NSDateFormatter(std::string pattern, const NSLocale& locale, const std::string& timeZoneName);
  ~NSDateFormatter();
  NSDateFormatter(NSDateFormatter&&) noexcept;
  NSDateFormatter& operator=(NSDateFormatter&&) noexcept;

  const std::string& dateFormat() const { return pattern_; }

  /// Truncates to milliseconds. Returns an empty text for a date millions of years away.
  std::string stringFromDate(Date date) const;

  /// Returns the date if `text` matches the pattern exactly: the number of digits of each numeric
  /// field and each literal character, ASCII digits only, values in range, nothing before or after.
  /// Fractions of a second are truncated to milliseconds.
  std::optional<Date> dateFromString(std::string_view text) const;

 private:
  struct Implementation;
  std::string pattern_;
  std::unique_ptr<Implementation> implementation_;
};

/// Locale of machine-readable text: ASCII digits and the Gregorian calendar, whatever the device's
/// language.
NSLocale wireLocale();

namespace NSDateFormatterServer {

/// "yyyy-MM-dd'T'HH:mm:ssZ": 2018-05-04T14:03:27+0200.
std::string serverDateFormat();
/// Returns a new formatter with that pattern in the device's time zone and the wire locale.
NSDateFormatter serverDateFormatter();
/// Formats `date` with such a formatter, which is cached per thread. Any thread.
std::string serverDateText(Date date);

}  // namespace NSDateFormatterServer

}  // namespace ks
