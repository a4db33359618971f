#pragma once

#include <cstdint>
#include <span>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Reads an XML property list. A dictionary whose only key is "CF$UID" is a reference of a keyed
/// archive. Entities of the document's own are not expanded.
Result<PropertyList> readXMLPropertyList(std::span<const std::uint8_t> bytes);

/// Writes XML with one element per line, tab-indented. Sets, null, control characters and dates
/// outside the years 0 to 9999 have no form in XML and are an error, as is a list nested too deep.
/// A container that is referenced several times is written each time: the text may be far longer
/// than the table, but not longer than `PropertyList::textLimit`.
Result<Data> writeXMLPropertyList(const PropertyList& list);

}  // namespace ks
