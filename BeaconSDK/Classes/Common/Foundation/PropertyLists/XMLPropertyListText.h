#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// The texts inside the elements of an XML property list.
namespace ks::xml_property_list {

/// A decimal integer, or a hexadecimal one after "0x"; nothing when it does not fit 64 bits.
std::optional<PropertyList::Node> integerFromText(std::string_view text);
/// A decimal number, "nan", "infinity" or "-infinity".
std::optional<double> realFromText(std::string_view text);
std::string realText(double value);

/// "2018-05-04T12:03:27Z"; nothing for a date outside the years 0 to 9999.
std::optional<std::string> dateText(Date date);
std::optional<Date> dateFromText(std::string_view text);

/// Base64 with any white space inside; nothing when it is malformed.
std::optional<Data> dataFromText(std::string_view text);

}  // namespace ks::xml_property_list
