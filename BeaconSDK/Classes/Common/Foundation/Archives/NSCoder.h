#pragma once

#include <cstddef>
#include <string_view>

#include "BeaconSDK/Platform/Api/Class.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Receives the properties of a record that is archived.
class NSEncoder {
 public:
  /// Adds `value` under `key`, each key once. An absent value leaves no entry.
  virtual void encodeObject(const Value& value, std::string_view key) = 0;

 protected:
  ~NSEncoder() = default;
};

/// Supplies the properties of a record that is restored.
class NSDecoder {
 public:
  /// Returns the value under `key`, or an absent value.
  virtual Value decodeObjectForKey(std::string_view key) = 0;
  /// Returns the value of a property of the record that is restored, or an absent value. `place` is
  /// the property's place among those of the record's class.
  virtual Value decodeProperty(const Property& property, std::size_t /*place*/) {
    return decodeObjectForKey(property.name);
  }

 protected:
  ~NSDecoder() = default;
};

}  // namespace ks
