#pragma once

#include <string_view>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Where a record writes its properties.
class NSEncoder {
 public:
  /// Adds `value` under `key`, each key once. An absent value leaves no entry.
  virtual void encodeObject(const Value& value, std::string_view key) = 0;

 protected:
  ~NSEncoder() = default;
};

/// Where a record reads its properties from.
class NSDecoder {
 public:
  /// The value under `key`; absent when there is none.
  virtual Value decodeObjectForKey(std::string_view key) = 0;

 protected:
  ~NSDecoder() = default;
};

}  // namespace ks
