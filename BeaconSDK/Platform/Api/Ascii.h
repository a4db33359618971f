#pragma once

#include <algorithm>
#include <string>

namespace ks {

/// Letters of ASCII alone, whatever the process's locale is: for names in protocols and files.
constexpr char asciiLowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char asciiUpperCase(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

inline std::string asciiLowerCased(std::string text) {
  std::ranges::transform(text, text.begin(), asciiLowerCase);
  return text;
}
inline std::string asciiUpperCased(std::string text) {
  std::ranges::transform(text, text.begin(), asciiUpperCase);
  return text;
}

}  // namespace ks
