#pragma once

#include <optional>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/UniqueNodes.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// The table for a value. Absent values, UUIDs and objects have no place in a property list and are
/// an error, as is a value that nests too deep. Containers that are shared stay shared.
Result<PropertyList> propertyListFromValue(const Value& value);

/// The value in a table; each container is made once and shared. A container that contains itself
/// or nests too deep is an error, as is a table whose texts exceed its `textLimit`.
Result<Value> valueFromPropertyList(const PropertyList& list);

/// A boolean, number, text, date, data or null; an absent value for every other node.
Value plainValue(const PropertyList& list, PropertyList::NodeId node);

/// The unique node of a boolean, number or text; nothing for every other value.
std::optional<PropertyList::NodeId> uniquePlainNode(const Value& value, UniqueNodes& nodes);

}  // namespace ks
