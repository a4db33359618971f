#include "tools/ksbeacon/host/TimelineMarks.h"

#include <string>
#include <utility>

#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

namespace {

constexpr unsigned kKindBits = 8;

/// FNV-1a of 32 bits: enough to tell an event from another one.
std::uint32_t checksum(const std::string& text) {
  std::uint32_t sum = 0x811C9DC5;
  for (const char c : text) sum = (sum ^ static_cast<std::uint8_t>(c)) * 0x01000193;
  return sum;
}

}  // namespace

std::optional<std::uint64_t> timelineMark(const TimelineEvent& event, Date start) {
  if (event.kind == TimelineKind::ranging || event.kind == TimelineKind::log) return std::nullopt;
  return static_cast<std::uint64_t>(checksum(timelineJson(event, start))) << kKindBits |
         static_cast<std::uint64_t>(event.kind);
}

const char* markedKind(std::uint64_t mark) {
  const std::uint64_t kind = mark & ((1U << kKindBits) - 1);
  return kind > static_cast<std::uint64_t>(kLastTimelineKind)
             ? "unknown"
             : timelineKindName(static_cast<TimelineKind>(kind));
}

void recordEvent(RecordingWriter& writer, const TimelineEvent& event, Date start,
                 bool isInProcess) {
  RecordedEvent entry;
  if (isInProcess) {
    const auto mark = timelineMark(event, start);
    if (!mark) return;
    entry.kind = RecordedEvent::Kind::mark;
    entry.subject = *mark;
  } else {
    entry.kind = RecordedEvent::Kind::note;
    entry.subject = static_cast<std::uint64_t>(event.kind);
    entry.details = {{"at", event.at.count()}, {"text", event.text}, {"details", event.details}};
  }
  writer.add(std::move(entry));
}

TimelineEvent eventIn(const RecordedEvent& note) {
  TimelineEvent event;
  event.at = Seconds{note.details["at"].doubleValue()};
  if (note.subject <= static_cast<std::uint64_t>(kLastTimelineKind)) {
    event.kind = static_cast<TimelineKind>(note.subject);
  }
  event.text = note.details["text"].stringValue().value_or("");
  if (const Dictionary* const details = note.details["details"].dictionary()) {
    event.details = *details;
  }
  return event;
}

}  // namespace ks::tool
