#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace ks {

class Class;

/// Base class of all records. Held by `std::shared_ptr`. The operations about its class are defined
/// with `Class`.
class Object : public std::enable_shared_from_this<Object> {
 public:
  virtual ~Object() = default;

  virtual const Class& objectClass() const;
  std::string className() const;

  /// Identity unless overridden; equal objects must have equal hashes.
  virtual bool isEqual(const Object* other) const { return this == other; }
  virtual std::size_t hash() const { return std::hash<const Object*>{}(this); }
  /// The object as "%@" prints it.
  virtual std::string description() const;

  static const Class kClass;

 protected:
  Object() = default;
  Object(const Object&) = default;
  Object& operator=(const Object&) = default;
};

}  // namespace ks
