#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tools/ksbeacon/scenario/ScenarioReader.h"

/// Scenario files of any content are read or refused, in bounded time and memory.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto read = ks::tool::readScenario(text, "fuzz.json");
  if (const auto* const error = std::get_if<ks::tool::InputError>(&read)) {
    if (error->message().find('\n') != std::string::npos) __builtin_trap();
  }
  return 0;
}
