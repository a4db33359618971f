#pragma once

#include <cstdint>
#include <optional>

#include "BeaconSDK/Platform/Recorded/RecordedPlatform.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// The event's place in a replay's check: its kind and a checksum of its line. Absent for kinds
/// that depend on what somebody wants to see: ranging results and the library's own trace.
std::optional<std::uint64_t> timelineMark(const TimelineEvent& event, Date start);
/// The kind of the event that a mark stands for.
const char* markedKind(std::uint64_t mark);

/// Takes an event down: a mark inside a process; whole outside, where a replay has nobody to make
/// it.
void recordEvent(RecordingWriter& writer, const TimelineEvent& event, Date start, bool isInProcess);
/// The event of an entry that was taken down whole.
TimelineEvent eventIn(const RecordedEvent& note);

}  // namespace ks::tool
