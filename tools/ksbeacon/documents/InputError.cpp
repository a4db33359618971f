#include "tools/ksbeacon/documents/InputError.h"

#include <fmt/format.h>

#include "BeaconSDK/Platform/Common/PrintableText.h"

namespace ks::tool {

std::string InputError::message() const {
  std::string text = file;
  if (line > 0) text += fmt::format(":{}", line);
  if (!member.empty()) text += ": " + member;
  return printable(text + ": " + expected);
}

}  // namespace ks::tool
