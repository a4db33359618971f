#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// Numbers at the start of a text, as the portal's documents carry them. Leading blanks are
/// skipped, whatever follows the number is ignored, and text that starts with no number reads as 0.
/// A number beyond the range of the result becomes the nearest end of that range.
namespace ks::PortalNumber {

std::int32_t integerFromText(std::string_view text);
/// Decimal, with or without an exponent; "inf", "nan" and hexadecimal forms are no numbers.
double doubleFromText(std::string_view text);
float floatFromText(std::string_view text);

/// The double nearest to a JSON number: 0 when it is too small for one, nothing when it is too
/// large.
std::optional<double> nearestDouble(std::string_view decimal);

}  // namespace ks::PortalNumber
