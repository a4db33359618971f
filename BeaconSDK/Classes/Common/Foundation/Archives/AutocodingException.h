#pragma once

#include <exception>
#include <string>

namespace ks {

/// Thrown when an archive holds a value of another class than the record's property expects.
///
/// The only archive error that is reported as an exception. Use `loadCacheFile` to read files that
/// may be damaged.
class AutocodingException : public std::exception {
 public:
  AutocodingException(const std::string& property, const std::string& expectedClass,
                      const std::string& actualClass);

  static constexpr const char* name() { return "AutocodingException"; }
  /// "Expected 'name' to be a NSString, but was actually a NSNumber".
  const std::string& reason() const { return reason_; }
  const char* what() const noexcept override { return reason_.c_str(); }

 private:
  std::string reason_;
};

}  // namespace ks
