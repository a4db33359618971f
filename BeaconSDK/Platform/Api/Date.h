#pragma once

#include <chrono>
#include <string>

namespace ks {

/// A span of time in seconds; fractions are kept.
using Seconds = std::chrono::duration<double>;

/// A moment on the wall clock: seconds since 1970-01-01T00:00:00Z. An absent date is an empty
/// `std::optional<Date>`.
using Date = std::chrono::time_point<std::chrono::system_clock, Seconds>;

/// Seconds from `earlier` to `later`; negative when `later` comes first.
inline double secondsBetween(Date earlier, Date later) { return (later - earlier).count(); }

inline Date dateFromSecondsSince1970(double seconds) { return Date{Seconds{seconds}}; }

inline double secondsSince1970(Date date) { return date.time_since_epoch().count(); }

/// 2001-01-01T00:00:00Z, from which archives and binary property lists count, in seconds since
/// 1970.
inline constexpr double kReferenceDate = 978307200;

inline Date dateFromSecondsSinceReference(double seconds) {
  return dateFromSecondsSince1970(seconds + kReferenceDate);
}

inline double secondsSinceReference(Date date) { return secondsSince1970(date) - kReferenceDate; }

/// "2018-05-04 12:03:27 +0000": the date in UTC, whole seconds. Dates beyond the years 0 to 9999
/// print as "@" and their seconds since 1970.
std::string dateDescription(Date date);

}  // namespace ks
