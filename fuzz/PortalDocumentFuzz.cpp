#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace {

/// Errors take their domain from the platform.
bool installPlatform() {
  ks::Platform::install(std::make_shared<ks::SimulatedPlatform>());
  return true;
}

}  // namespace

/// Portal documents of any content become records, none of them null, or one error.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isInstalled = installPlatform();
  static const KSResponseParser parser;
  const std::string_view document(reinterpret_cast<const char*>(data), size);
  const auto convert = [&](const auto& converter) {
    const auto records = KSResponseParser::records(document, converter);
    if (!records) return;
    for (const auto& record : *records) {
      if (!record || !isInstalled) __builtin_trap();
    }
  };
  convert(KSResponseParser::convertToCategory);
  convert(KSResponseParser::convertToLocation);
  convert([](const ks::PortalObject& item) { return parser.convertToPrivateBeacon(item); });
  convert([](const ks::PortalObject& item) { return parser.convertToGeofence(item); });
  return 0;
}
