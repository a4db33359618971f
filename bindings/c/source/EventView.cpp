#include "bindings/c/source/EventView.h"

#include <cmath>

#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::capi {

namespace {

using tool::TimelineKind;

ks_event_kind kindOf(TimelineKind kind) {
  if (kind == TimelineKind::presence) return KS_EVENT_PRESENCE;
  return kind <= TimelineKind::expectation ? static_cast<ks_event_kind>(kind) : KS_EVENT_OTHER;
}
static_assert(static_cast<int>(TimelineKind::trigger) == KS_EVENT_TRIGGER);
static_assert(static_cast<int>(TimelineKind::expectation) == KS_EVENT_EXPECTATION);

/// The member that tells most about events of this kind.
const char* detailMember(TimelineKind kind) {
  switch (kind) {
    case TimelineKind::refusal:
      return "rule";
    case TimelineKind::notification:
      return "action";
    case TimelineKind::region:
      return "change";
    case TimelineKind::statistic:
      return "event";
    default:
      return nullptr;
  }
}

bool isDecision(TimelineKind kind) {
  return kind == TimelineKind::trigger || kind == TimelineKind::dwelling ||
         kind == TimelineKind::refusal || kind == TimelineKind::presence;
}

}  // namespace

EventView::EventView(const tool::TimelineEvent& event, Date start)
    : text_(event.text), json_(tool::timelineJson(event, start)) {
  event_.size = sizeof(event_);
  event_.kind = kindOf(event.kind);
  event_.at = event.at.count();
  constexpr double kMilliseconds = 1000;
  event_.date = std::llround(secondsSince1970(start + event.at) * kMilliseconds);
  event_.text = text_.c_str();
  event_.json = json_.c_str();
  event_.content = keep(content_, event.details, "content");
  event_.zone = keep(zone_, event.details, "zone");
  event_.detail = keep(detail_, event.details, detailMember(event.kind));
  event_.entering = -1;
  if (isDecision(event.kind)) event_.entering = event.details["event"].stringValue() == "enter";
  event_.met = -1;
  if (event.kind == TimelineKind::expectation) event_.met = event.details["met"].boolValue();
  if (event.kind == TimelineKind::notification) {
    event_.message = keep(message_, event.details, "text");
  }
  const Dictionary* const shows = event.details["shows"].dictionary();
  if (shows == nullptr) return;
  event_.title = keep(title_, *shows, "title");
  event_.body = keep(body_, *shows, "message");
  event_.page = keep(page_, *shows, "page");
  event_.video = keep(video_, *shows, "video");
  event_.media = keep(media_, *shows, "media");
  event_.icon = keep(icon_, *shows, "icon");
}

const char* EventView::keep(std::string& place, const Dictionary& details, const char* member) {
  if (member == nullptr) return nullptr;
  const auto text = details[member].stringValue();
  if (!text) return nullptr;
  place = *text;
  return place.c_str();
}

}  // namespace ks::capi
