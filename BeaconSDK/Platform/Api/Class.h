#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// One persisted property of a record class: its name, the class of the value that an archive holds
/// for it, and how the value is read from and stored into a record.
struct Property {
  std::string name;
  /// "NSString", "NSNumber", "NSDate", ... or a record class's name.
  std::string valueClass;
  /// Returns an absent value when the property is empty.
  std::function<Value(const Object&)> get;
  /// Accepts only values of `valueClass`; an absent one clears the property.
  std::function<void(Object&, const Value&)> set;
};

/// Former hooks by which classes chose their persisted properties. A class that still implements
/// one causes a warning.
struct DeprecatedCoding {
  bool codableKeys = false;
  bool uncodableKeys = false;
  /// The result of the class's `uncodableProperties`: these properties are not persisted.
  std::optional<std::vector<std::string>> uncodableProperties;
};

/// The description of a record class: name, superclass and persisted properties. One static
/// instance per class; its construction registers the class by name.
class Class {
 public:
  using Factory = std::shared_ptr<Object> (*)();

  /// `superclass` is null for classes that derive from the root object. `factory` creates an empty
  /// record for an archive reader; null for classes without direct instances.
  Class(std::string name, const Class* superclass, Factory factory,
        std::vector<Property> ownProperties, DeprecatedCoding deprecatedCoding = {});
  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

  const std::string& name() const { return name_; }
  const Class* superclass() const { return superclass_; }
  Factory factory() const { return factory_; }
  /// The properties that the class itself declares.
  const std::vector<Property>& ownProperties() const { return own_; }
  const DeprecatedCoding& deprecatedCoding() const { return deprecatedCoding_; }
  /// The properties of the class and its superclasses, each name once; a superclass's entry
  /// replaces a subclass's of the same name. Computed once. Any thread.
  const std::vector<Property>& codableProperties() const;
  /// True when this class or a superclass is called `name`; always true for "NSObject".
  bool isKindOf(std::string_view name) const;

  /// Returns the class called `name`, or null. Any thread.
  static const Class* named(std::string_view name);

 private:
  std::string name_;
  const Class* superclass_;
  Factory factory_;
  std::vector<Property> own_;
  DeprecatedCoding deprecatedCoding_;
  mutable std::once_flag mergedOnce_;
  mutable std::vector<Property> merged_;
};

/// True when `value` is of the named class or one of its subclasses.
bool isKindOfClass(const Value& value, std::string_view name);

}  // namespace ks
