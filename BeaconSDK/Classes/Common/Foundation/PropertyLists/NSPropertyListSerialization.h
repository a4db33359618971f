#pragma once

#include <cstdint>
#include <span>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Platform/Api/Result.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// The platform's numbers.
enum class NSPropertyListFormat : std::int64_t { xml = 100, binary = 200 };

/// Turns values into property lists and back. Any thread.
///
/// A property list holds booleans, numbers, text, dates, data, arrays and dictionaries, nested at
/// most `PropertyList::kMaximumNesting` deep. The binary form holds sets and null too; the XML form
/// keeps whole seconds of dates and no control characters. A reference of a keyed archive appears
/// as a dictionary with the one key "CF$UID".
class NSPropertyListSerialization {
 public:
  static Result<Data> dataWithPropertyList(const Value& value, NSPropertyListFormat format);
  /// Reads either format. The bytes may come from anywhere.
  static Result<Value> propertyListWithData(std::span<const std::uint8_t> bytes);

  /// The same without the values: what archives are made of.
  static Result<PropertyList> parse(std::span<const std::uint8_t> bytes);
  static Result<Data> dataOf(const PropertyList& list, NSPropertyListFormat format);
};

}  // namespace ks
