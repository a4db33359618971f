#pragma once

#include <string>

#include "BeaconSDK/Platform/Recorded/RecordingRing.h"

namespace ks::tool {

/// Returns why `text` is not a limit, or an empty string. Limits are hours ("24h", 1 to 8,784) or
/// MiB ("64M", 4 to 65,536).
std::string checkRecordingLimit(const std::string& text);

/// Returns the limit that `text` names; no limit for an empty text.
RecordingLimit recordingLimitIn(const std::string& text);

}  // namespace ks::tool
