#pragma once

#include <cstdint>
#include <span>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

bool isBinaryPropertyList(std::span<const std::uint8_t> bytes);

/// Reads the platform's binary property list, version "00", with every width of integers, offsets
/// and references. Whatever the bytes hold, work and memory are linear in their number: objects
/// that overlap, and so could be read many times over, are an error. Integers beyond 64 bits are an
/// error too.
Result<PropertyList> readBinaryPropertyList(std::span<const std::uint8_t> bytes);

/// The same form in one pass, each number in the narrowest width that holds it.
Data writeBinaryPropertyList(const PropertyList& list);

}  // namespace ks
