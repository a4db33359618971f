// Shows any bytes as `ksbeacon inspect` does, as text and as JSON.
#include <cstddef>
#include <cstdint>
#include <span>

#include "tools/ksbeacon/inspect/ArchiveView.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto view = ks::tool::viewArchive(std::span(bytes, size));
  if (!view) return 0;
  if (ks::tool::archiveText(view->content).empty()) __builtin_trap();
  if (ks::tool::archiveJson(view->content).empty()) __builtin_trap();
  return 0;
}
