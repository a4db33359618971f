#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Recorded/RecordedEvent.h"

namespace ks {

/// What lies outside an enclosed device: the real device while a recording is made, the recording
/// while it is replayed. Main queue only.
class Outside {
 public:
  virtual ~Outside() = default;
  /// The real device; null in a replay, where nothing of what the library does goes outside.
  virtual Platform* realDevice() = 0;
  /// Returns what `ask` returns, or what it returned when the recording was made.
  virtual Value answer(std::string_view question, const std::function<Value()>& ask) = 0;
  /// Something entered the real device.
  virtual void enter(RecordedEvent event) = 0;
  /// What the enclosed location engine needs has changed.
  virtual void demandChanged(const LocationDemand& demand) = 0;
  /// A replay met something that cannot follow from the recording.
  virtual void departed(const std::string& how) = 0;
};

/// Lets callbacks of the real device find the enclosed one as long as it exists.
struct OutsideLink {
  /// Null when the enclosed device is gone. Main queue only.
  Outside* outside = nullptr;
  /// Whether the download handed in last may be cached.
  bool mayCache = true;
};

}  // namespace ks
