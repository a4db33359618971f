#pragma once

#include "BeaconSDK/Classes/Manager/Common/EngineObserver.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// The kind, the text and the details of a decision, numbers included. The moment is left to the
/// caller.
TimelineEvent timelineEventFor(const ks::TriggerDecision& decision);

/// "far", also for what a terminal reads in `ranging`.
const char* proximityInWords(std::int64_t proximity);

/// "2,460": a number of seconds or events as people read it, rounded up to whole ones.
std::string grouped(double number);

}  // namespace ks::tool
