#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks::tool {

/// What stands in a property list or a keyed archive, whatever its classes are: nothing has to be
/// known of them, and nothing is made of them.
///
/// In `content` an object of the archive is a dictionary of its fields after "$class", its class;
/// the platform's own collections, texts, dates, data and identifiers stand for themselves. What is
/// referred to more than once stands in full where it is met first, with its number under
/// "$object", and as a dictionary with that number under "$ref" everywhere else, so circles and
/// repetitions do not blow up. A list of that kind stands under "$items". Keys of the file that
/// begin with "$" have one more in front, so that none is taken for these.
struct ArchiveView {
  /// "keyed archive" or "property list".
  std::string form;
  Value content;
};

/// Reads either form, binary or XML; the bytes may come from anywhere.
Result<ArchiveView> viewArchive(std::span<const std::uint8_t> bytes);

/// For a person: a line per value, nested by indentation. Ends with a line break.
std::string archiveText(const Value& content);
/// For a program: dates in UTC, data as Base64.
std::string archiveJson(const Value& content);

}  // namespace ks::tool
