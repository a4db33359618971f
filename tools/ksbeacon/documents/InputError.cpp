#include "tools/ksbeacon/documents/InputError.h"

#include <fmt/format.h>

namespace ks::tool {

std::string InputError::message() const {
  std::string text = file;
  if (line > 0) text += fmt::format(":{}", line);
  if (!member.empty()) text += ": " + member;
  text += ": " + expected;
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  }
  return text;
}

}  // namespace ks::tool
