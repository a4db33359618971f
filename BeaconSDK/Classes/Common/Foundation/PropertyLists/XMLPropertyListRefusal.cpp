#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/XMLPropertyList.h"

namespace ks {

/// The reader of a build without an XML parser.
Result<PropertyList> readXMLPropertyList(std::span<const std::uint8_t> /*bytes*/) {
  return cocoaError(NSCocoaError::propertyListReadCorrupt,
                    "The data is no binary property list, and this build reads no XML.");
}

}  // namespace ks
