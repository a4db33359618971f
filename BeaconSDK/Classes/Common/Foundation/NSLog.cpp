#include "BeaconSDK/Classes/Common/Foundation/NSLog.h"

#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

void writeToConsole(std::string_view format, std::span<const FormatArgument> arguments) {
  Platform::current().console().log(formatted(format, arguments));
}

}  // namespace ks
