#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// Converts JSON text to values and back. Any thread.
namespace ks::NSJSONSerialization {

/// A document that nests deeper is rejected: far above any portal document (4), far below what the
/// stack of a small thread holds.
inline constexpr std::size_t kMaximumDepth = 128;

/// Reads one JSON document (RFC 8259, UTF-8) in linear time and memory. Objects keep the order of
/// their members.
///
/// Unusual documents each have one outcome:
/// - a byte-order mark before the document is skipped; anything but blanks after the document is an
///   error, and so are an empty document, invalid UTF-8 and an escaped surrogate without its
///   partner;
/// - of members with the same name the last wins, at the first one's place;
/// - integers from -2^63 to 2^64-1 are exact; larger ones and all numbers with a fraction or an
///   exponent become the nearest double; -0 is the integer 0, -0.0 the double;
/// - a number too small for a double is 0; one beyond its range is an error, and so is an exponent
///   beyond 32 bits.
Result<Value> JSONObjectWithData(std::string_view text);

/// The compact text of `dictionary`, members in their order. Absent values and numbers that are not
/// finite become null; values that JSON does not know become their descriptions.
std::string dataWithJSONObject(const Dictionary& dictionary);

}  // namespace ks::NSJSONSerialization
