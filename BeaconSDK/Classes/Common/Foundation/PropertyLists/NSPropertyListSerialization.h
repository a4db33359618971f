#pragma once

#include <cstdint>
#include <span>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// File formats, with the platform's numbers.
enum class NSPropertyListFormat : std::int64_t { xml = 100, binary = 200 };

/// Converts values to property lists and back. Any thread.
///
/// A property list holds booleans, numbers, text, dates, data, arrays and dictionaries, nested at
/// most `PropertyList::kMaximumNesting` deep. The binary form holds sets and null too; the XML form
/// keeps whole seconds of dates and no control characters. A reference of a keyed archive appears
/// as a dictionary with the one key "CF$UID".
class NSPropertyListSerialization {
 public:
  static Result<Data> dataWithPropertyList(const Value& value, NSPropertyListFormat format);
  /// Reads either format. Safe for untrusted bytes.
  static Result<Value> propertyListWithData(std::span<const std::uint8_t> bytes);

  /// As above, for the node table from which archives are read.
  static Result<PropertyList> parse(std::span<const std::uint8_t> bytes);
  static Result<Data> dataOf(const PropertyList& list, NSPropertyListFormat format);
};

}  // namespace ks
