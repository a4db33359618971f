#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"

#include <utility>

void KSEngineState::store(const char* key, ks::Value value) {
  defaults_.setObject(key, std::move(value));
  defaults_.synchronize();
}

std::optional<ks::Date> KSEngineState::lastLocationsRefreshDate() const {
  const auto stored = defaults_.objectForKey(kLastLocationsRefreshDateKey);
  const ks::Date* const date = stored.date();
  return date != nullptr ? std::optional(*date) : std::nullopt;
}

void KSEngineState::setLastLocationsRefreshDate(std::optional<ks::Date> date) {
  store(kLastLocationsRefreshDateKey, date);
}

bool KSEngineState::errorHappened() const {
  return defaults_.objectForKey(kErrorHappenedKey).boolValue();
}

void KSEngineState::setErrorHappened(bool flag) { store(kErrorHappenedKey, flag); }
