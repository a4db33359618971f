#pragma once

#include <cstddef>
#include <string_view>

namespace ks::portal {

/// The line, from 1, of the byte at `offset`.
int lineAt(std::string_view text, std::size_t offset);

/// The line on which the value at `member` ("[2].content.proximity") begins in a valid JSON text;
/// where there is no such value, that of the innermost one around it.
int lineOfMember(std::string_view text, std::string_view member);

}  // namespace ks::portal
