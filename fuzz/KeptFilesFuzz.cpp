#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include "BeaconSDK/Platform/Http/StoredDocument.h"
#include "BeaconSDK/Platform/Linux/Machine/EarlierUserDefaults.h"
#include "BeaconSDK/Platform/Storage/FileUserDefaults.h"
#include "BeaconSDK/Platform/Storage/TemporaryFolder.h"
#include "BeaconSDK/Platform/Storage/ValueText.h"

namespace {

struct Quiet : ks::Console {
  void log(std::string_view) override {}
};

}  // namespace

/// A file of any content in the place of user defaults, of version 1.0's list of them or of a
/// stored document is read or refused, and what user defaults hold can be written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto folder = ks::TemporaryFolder::make("ks-fuzz");
  static Quiet console;
  if (!folder) __builtin_trap();
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (const auto value = ks::valueFromText(text)) {
    const auto written = ks::valueToText(*value);
    if (!written || !ks::valueFromText(*written)) __builtin_trap();
  }
  const auto& path = folder->path();
  std::ofstream(path / "UserDefaults.plist", std::ios::binary) << text;
  {
    ks::FileUserDefaults defaults(path / "UserDefaults.txt", console);
    ks::adoptEarlierUserDefaults(path, path / "UserDefaults.txt", defaults);
  }
  ::unlink((path / "UserDefaults.txt").c_str());
  std::ofstream(path / "document", std::ios::binary) << text;
  if (const auto document = ks::StoredDocument::open(path / "document")) {
    auto copy = ks::NewFile::create(path, "copy");
    if (copy) static_cast<void>(document->copyBody(copy.value()));
  }
  return 0;
}
