// Reads any bytes as a property list and as a keyed archive, in every record class of the model.
#include <cstddef>
#include <cstdint>
#include <span>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/NSPropertyListSerialization.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::span input(bytes, size);
  const auto list = ks::NSPropertyListSerialization::propertyListWithData(input);
  if (list) {
    (void)ks::NSPropertyListSerialization::dataWithPropertyList(*list,
                                                                ks::NSPropertyListFormat::binary)
        .ok();
  }
  try {
    const auto value = ks::NSKeyedUnarchiver::unarchiveObjectWithData(input);
    if (value) (void)ks::NSKeyedArchiver::archivedDataWithRootObject(*value);
  } catch (const ks::AutocodingException&) {
    return 0;
  }
  return 0;
}
