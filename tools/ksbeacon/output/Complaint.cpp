#include "tools/ksbeacon/output/Complaint.h"

#include <iostream>

#include "BeaconSDK/Platform/Common/PrintableText.h"

namespace ks::tool {

void warn(std::string_view text) { std::cerr << "ksbeacon: " + printable(text) + "\n"; }

int complain(std::string_view text, int code) {
  warn(text);
  return code;
}

}  // namespace ks::tool
