#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSCoder.h"
#include "BeaconSDK/Platform/Api/Property.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Archives any record by its class's list of properties: one entry per non-empty property, under
/// the property's name. Records need no coding code of their own.
namespace NSObjectAutoCoding {

/// True for every record: the classes of values are checked when they are decoded.
bool supportsSecureCoding(const Class& objectClass);

/// Returns the properties that `objectClass` itself declares. Each call writes a warning to the
/// console for every deprecated hook that the class still implements.
const std::vector<Property>& codableProperties(const Class& objectClass);
/// Returns the properties of the object's class and its superclasses, each name once.
const std::vector<Property>& codableProperties(const Object& object);

/// Writes every non-empty property to `coder`.
void encodeWithCoder(const Object& object, NSEncoder& coder);
/// Returns a new record of `objectClass` with its properties read from `coder`; null for a class
/// without direct instances. Throws `AutocodingException`.
std::shared_ptr<Object> initWithCoder(const Class& objectClass, NSDecoder& coder);
/// Sets the properties that `coder` has values for; the others keep theirs. Throws
/// `AutocodingException` for a value of the wrong class.
void setWithCoder(Object& object, NSDecoder& coder);

/// Returns name and value of every non-empty property.
Dictionary dictionaryRepresentation(const Object& object);

}  // namespace NSObjectAutoCoding

}  // namespace ks
