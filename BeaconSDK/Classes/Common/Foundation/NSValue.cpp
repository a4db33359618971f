#include "BeaconSDK/Classes/Common/Foundation/NSValue.h"

#include "BeaconSDK/Platform/Api/Class.h"

namespace ks {

const Class NSValue::kClass{
    kClassName,
    nullptr,
    makeObject<NSValue>,
    {property("objCType", &NSValue::objCType_), property("fields", &NSValue::fields_)}};

const std::vector<Value>& NSValue::fields() const {
  static const std::vector<Value> kNone;
  return fields_ ? fields_->items : kNone;
}

bool NSValue::isEqual(const Object* other) const {
  const auto* value = dynamic_cast<const NSValue*>(other);
  return value && value->objCType_ == objCType_ && value->fields() == fields();
}

std::string NSValue::description() const { return objCType_ + " " + Value(fields_).description(); }

}  // namespace ks
