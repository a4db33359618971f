#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Recorded/RecordedEvent.h"

namespace ks {

/// The environment of an enclosed device: the real device while a recording is made, the recording
/// while it is replayed. Main queue only.
class Outside {
 public:
  virtual ~Outside() = default;
  /// The real device; null in a replay, where no request leaves the device.
  virtual Platform* realDevice() = 0;
  /// Returns the result of `ask`, or its recorded result in a replay.
  virtual Value answer(std::string_view question, const std::function<Value()>& ask) = 0;
  /// Called with each input of the real device.
  virtual void enter(RecordedEvent event) = 0;
  /// Called when the demand of the enclosed location engine has changed.
  virtual void demandChanged(const LocationDemand& demand) = 0;
  /// Called when a replay cannot follow from the recording.
  virtual void departed(const std::string& how) = 0;
};

/// Lets callbacks of the real device find the enclosed one while it exists.
struct OutsideLink {
  /// Null after the enclosed device was destroyed. Main queue only.
  Outside* outside = nullptr;
  /// Whether the download delivered last may be cached.
  bool mayCache = true;
};

}  // namespace ks
