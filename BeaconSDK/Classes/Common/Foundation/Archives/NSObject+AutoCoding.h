#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSCoder.h"
#include "BeaconSDK/Platform/Api/Property.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Archives any record by the properties that its class lists: one entry per property that holds a
/// value, under the property's own name. No record writes coding code of its own.
namespace NSObjectAutoCoding {

/// True for every record: the classes of values are checked when they are decoded.
bool supportsSecureCoding(const Class& objectClass);

/// The properties that `objectClass` itself declares. Each call writes a warning to the console for
/// every deprecated hook that the class still implements.
const std::vector<Property>& codableProperties(const Class& objectClass);
/// The properties of the object's class and its superclasses, each name once.
const std::vector<Property>& codableProperties(const Object& object);

void encodeWithCoder(const Object& object, NSEncoder& coder);
/// An empty record of `objectClass`, filled from the coder only; null when the class has no
/// instances of its own. Raises `AutocodingException`.
std::shared_ptr<Object> initWithCoder(const Class& objectClass, NSDecoder& coder);
/// Fills the properties that the coder has values for and leaves the others. Raises
/// `AutocodingException` for a value of the wrong class.
void setWithCoder(Object& object, NSDecoder& coder);

/// Name to value for every property that holds a value.
Dictionary dictionaryRepresentation(const Object& object);

}  // namespace NSObjectAutoCoding

}  // namespace ks
