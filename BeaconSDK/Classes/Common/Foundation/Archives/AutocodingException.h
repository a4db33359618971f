#pragma once

#include <exception>
#include <string>

namespace ks {

/// An archive holds a value of another class than the record's property expects.
///
/// It leaves the unarchiver as an exception, unlike every other fault of an archive. Who must
/// survive damaged files reads them through `loadCacheFile`.
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
