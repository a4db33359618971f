#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Dates as text and back by a pattern of the Unicode date field symbols (UTS 35).
///
/// Not thread-safe: one formatter belongs to one thread at a time, reading included. Making one
/// takes tens of microseconds, so keep it where many dates are converted.
class NSDateFormatter {
 public:
  /// `timeZoneName` is an Olson name or "UTC"; an unknown one counts as UTC. A pattern that is no
  /// date pattern gives empty text and no dates.
  NSDateFormatter(std::string pattern, const NSLocale& locale, const std::string& timeZoneName);
  ~NSDateFormatter();
  NSDateFormatter(NSDateFormatter&&) noexcept;
  NSDateFormatter& operator=(NSDateFormatter&&) noexcept;

  const std::string& dateFormat() const { return pattern_; }

  /// Fractions beyond the milliseconds are cut off; a date millions of years away gives empty text.
  std::string stringFromDate(Date date) const;

  /// The date that `text` says, when it matches the pattern exactly: the number of digits of each
  /// numeric field and each literal character, ASCII digits only, values in range, nothing before
  /// or after. Fractions of a second are kept to the millisecond, further digits cut off.
  std::optional<Date> dateFromString(std::string_view text) const;

 private:
  struct Implementation;
  std::string pattern_;
  std::unique_ptr<Implementation> implementation_;
};

/// The locale of texts that machines exchange: ASCII digits, Gregorian calendar, whatever the
/// device's language.
NSLocale wireLocale();

namespace NSDateFormatterServer {

/// "yyyy-MM-dd'T'HH:mm:ssZ": 2018-05-04T14:03:27+0200.
std::string serverDateFormat();
/// A new formatter with that pattern in the device's time zone and the wire locale.
NSDateFormatter serverDateFormatter();
/// `date` as such a formatter writes it; each thread keeps one for its next call. Any thread.
std::string serverDateText(Date date);

}  // namespace NSDateFormatterServer

}  // namespace ks
