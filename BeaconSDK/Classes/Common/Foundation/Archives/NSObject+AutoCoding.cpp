#include <boost/unordered/unordered_flat_set.hpp>
#include <mutex>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Archives/AutocodingException.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Classes/Common/Foundation/NSLog.h"
#include "BeaconSDK/Platform/Api/Class.h"

namespace ks {

AutocodingException::AutocodingException(const std::string& property,
                                         const std::string& expectedClass,
                                         const std::string& actualClass)
    : reason_("Expected '" + property + "' to be a " + expectedClass + ", but was actually a " +
              actualClass) {}

namespace NSObjectAutoCoding {

namespace {

bool hasDeprecatedHooks(const Class& objectClass) {
  const DeprecatedCoding& hooks = objectClass.deprecatedCoding();
  return hooks.codableKeys || hooks.uncodableKeys || hooks.uncodableProperties;
}

void warn(const char* method, const char* advice) {
  NSLog("AutoCoding Warning: %@ method is no longer supported. %@", method, advice);
}

void warnOfDeprecatedHooks(const Class& objectClass) {
  constexpr const char* kUseOthers =
      "Use ivars, or synthesize your properties using non-KVC-compliant names to avoid coding "
      "them instead.";
  const DeprecatedCoding& hooks = objectClass.deprecatedCoding();
  if (hooks.codableKeys) warn("codableKeys", "Use codableProperties instead.");
  if (hooks.uncodableKeys) warn("uncodableKeys", kUseOthers);
  if (hooks.uncodableProperties) warn("uncodableProperties", kUseOthers);
}

/// The merged table asks each class once in the life of the process for its own properties, so a
/// class is also warned about once.
void warnOnce(const Class& objectClass) {
  static std::mutex mutex;
  static boost::unordered_flat_set<const Class*> warned;
  {
    const std::lock_guard lock(mutex);
    if (!warned.insert(&objectClass).second) return;
  }
  warnOfDeprecatedHooks(objectClass);
}

}  // namespace

bool supportsSecureCoding(const Class&) { return true; }

const std::vector<Property>& codableProperties(const Class& objectClass) {
  warnOfDeprecatedHooks(objectClass);
  return objectClass.ownProperties();
}

const std::vector<Property>& codableProperties(const Object& object) {
  const Class& objectClass = object.objectClass();
  for (const Class* level = &objectClass; level != nullptr; level = level->superclass()) {
    if (hasDeprecatedHooks(*level)) warnOnce(*level);
  }
  return objectClass.codableProperties();
}

void encodeWithCoder(const Object& object, NSEncoder& coder) {
  for (const auto& property : codableProperties(object)) {
    coder.encodeObject(property.get(object), property.name);
  }
}

std::shared_ptr<Object> initWithCoder(const Class& objectClass, NSDecoder& coder) {
  if (!objectClass.factory()) return nullptr;
  auto object = objectClass.factory()();
  setWithCoder(*object, coder);
  return object;
}

void setWithCoder(Object& object, NSDecoder& coder) {
  const auto& properties = codableProperties(object);
  for (std::size_t place = 0; place < properties.size(); ++place) {
    const Property& property = properties[place];
    const Value value = coder.decodeProperty(property, place);
    if (value.isAbsent()) continue;
    if (!isKindOfClass(value, property.valueClass)) {
      throw AutocodingException(property.name, property.valueClass, value.className());
    }
    property.set(object, value);
  }
}

Dictionary dictionaryRepresentation(const Object& object) {
  Dictionary dictionary;
  for (const auto& property : codableProperties(object)) {
    Value value = property.get(object);
    if (!value.isAbsent()) dictionary.set(property.name, std::move(value));
  }
  return dictionary;
}

}  // namespace NSObjectAutoCoding

}  // namespace ks
