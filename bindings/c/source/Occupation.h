#pragma once

#include "bindings/c/source/Failure.h"

namespace ks::capi {

/// The one device that a process may be; ends with the object. Throws `Failure` when there is one.
class Occupation {
 public:
  Occupation();
  Occupation(const Occupation&) = delete;
  Occupation& operator=(const Occupation&) = delete;
  ~Occupation();
};

}  // namespace ks::capi
