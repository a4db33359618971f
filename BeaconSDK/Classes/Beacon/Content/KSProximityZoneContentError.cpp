#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentError.h"

#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Property.h"

namespace {
constexpr const char* kDescriptionKey = "description";
constexpr const char* kUUIDKey = "UUID";
constexpr std::int64_t kCode = -1;
}  // namespace

const ks::Class KSProximityZoneContentError::kClass{
    kClassName, &ks::Error::kClass, ks::makeObject<KSProximityZoneContentError>, {}};

std::shared_ptr<KSProximityZoneContentError> KSProximityZoneContentError::errorWithDescription(
    const std::string& description, const std::optional<std::string>& uuid) {
  ks::Dictionary userInfo{{kDescriptionKey, description}};
  if (uuid) userInfo.set(kUUIDKey, *uuid);
  return std::make_shared<KSProximityZoneContentError>(kDomain, kCode, std::move(userInfo));
}

std::string KSProximityZoneContentError::localizedDescription() const {
  return ks::stringWithFormat("Proximity %@\n,%@",
                              userInfo()[kUUIDKey].stringValue().value_or("Unknown"),
                              userInfo()[kDescriptionKey]);
}
