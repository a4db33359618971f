#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"

#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

constexpr const char* kLastLocationsRefreshDateKey = "KSLastLocationsRefreshDate";
constexpr const char* kErrorHappenedKey = "ErrorHappened";

void store(const char* key, ks::Value value) {
  auto& defaults = ks::Platform::current().userDefaults();
  defaults.setObject(key, std::move(value));
  defaults.synchronize();
}

}  // namespace

std::optional<ks::Date> KSEngineState::lastLocationsRefreshDate() {
  const auto stored =
      ks::Platform::current().userDefaults().objectForKey(kLastLocationsRefreshDateKey);
  const ks::Date* const date = stored.date();
  return date != nullptr ? std::optional(*date) : std::nullopt;
}

void KSEngineState::setLastLocationsRefreshDate(std::optional<ks::Date> date) {
  store(kLastLocationsRefreshDateKey, date);
}

bool KSEngineState::errorHappened() {
  return ks::Platform::current().userDefaults().objectForKey(kErrorHappenedKey).boolValue();
}

void KSEngineState::setErrorHappened(bool flag) { store(kErrorHappenedKey, flag); }
