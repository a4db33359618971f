#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks::NSErrorHelpers {

namespace {
constexpr std::int64_t kCode = -1;
}  // namespace

Error errorWithDescription(std::string description, std::string domain) {
  return {std::move(domain), kCode, std::move(description)};
}

Error errorWithDescription(std::string description) {
  return errorWithDescription(std::move(description),
                              Platform::current().mainBundle().bundleIdentifier);
}

Error errorByAppendingDescription(const Error& error, const std::string& description) {
  return errorWithDescription(error.localizedDescription() + "\n" + description, error.domain());
}

}  // namespace ks::NSErrorHelpers
