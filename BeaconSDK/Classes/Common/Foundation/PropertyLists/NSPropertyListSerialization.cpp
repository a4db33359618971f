#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/NSPropertyListSerialization.h"

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/BinaryPropertyList.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyListValues.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/XMLPropertyList.h"

namespace ks {

Result<Data> NSPropertyListSerialization::dataWithPropertyList(const Value& value,
                                                               NSPropertyListFormat format) {
  const auto list = propertyListFromValue(value);
  if (!list) return list.error();
  return dataOf(*list, format);
}

Result<Value> NSPropertyListSerialization::propertyListWithData(
    std::span<const std::uint8_t> bytes) {
  const auto list = parse(bytes);
  if (!list) return list.error();
  return valueFromPropertyList(*list);
}

Result<PropertyList> NSPropertyListSerialization::parse(std::span<const std::uint8_t> bytes) {
  return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes) : readXMLPropertyList(bytes);
}

Result<Data> NSPropertyListSerialization::dataOf(const PropertyList& list,
                                                 NSPropertyListFormat format) {
  if (format == NSPropertyListFormat::binary) return writeBinaryPropertyList(list);
  return writeXMLPropertyList(list);
}

}  // namespace ks
