#pragma once

#include <cstring>
#include <string>
#include <utility>

#include "ksbeacon/ksbeacon.h"

namespace ks::capi {

/// Ends a call with a code and a text; thrown inside the library only.
class Failure {
 public:
  Failure(ks_status status, std::string text) : status_(status), text_(std::move(text)) {}
  ks_status status() const { return status_; }
  const std::string& text() const { return text_; }

 private:
  ks_status status_;
  std::string text_;
};

/// Keeps the calling thread's last error and returns `status`.
ks_status fail(ks_status status, const char* text) noexcept;

/// Returns the code of the exception being handled, having kept its text.
ks_status failWithCurrentException() noexcept;

/// Runs the body of a function of the C interface: whatever it throws becomes a code.
template <class Body>
ks_status guarded(Body&& body) noexcept {
  try {
    body();
    return KS_OK;
  } catch (...) {
    return failWithCurrentException();
  }
}

/// Returns a structure of this version, made of as much as the caller's has.
template <class T>
T taken(const T* given, const char* name) {
  if (given == nullptr) throw Failure(KS_ERROR_ARGUMENT, std::string(name) + " is null");
  if (given->size < sizeof(given->size)) {
    throw Failure(KS_ERROR_ARGUMENT, std::string(name) + " has no size: set its first member");
  }
  T made{};
  std::memcpy(&made, given, given->size < sizeof(T) ? given->size : sizeof(T));
  return made;
}

/// Returns a text that must be there.
inline std::string required(const char* text, const char* name) {
  if (text == nullptr || *text == '\0') {
    throw Failure(KS_ERROR_ARGUMENT, std::string(name) + " is missing");
  }
  return text;
}

inline std::string optional(const char* text, const char* otherwise = "") {
  return text == nullptr ? otherwise : text;
}

}  // namespace ks::capi
