#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "ksbeacon/ksbeacon.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::capi {

/// A timeline event as the C interface shows it; owns the texts.
class EventView {
 public:
  /// `start` is the moment from which the event counts.
  EventView(const tool::TimelineEvent& event, Date start);
  EventView(const EventView&) = delete;
  EventView& operator=(const EventView&) = delete;

  const ks_event& event() const { return event_; }

 private:
  const char* keep(std::string& place, const Dictionary& details, const char* member);

  std::string text_;
  std::string json_;
  std::string content_;
  std::string zone_;
  std::string detail_;
  std::string message_;
  std::string title_;
  std::string body_;
  std::string page_;
  std::string video_;
  std::string media_;
  std::string icon_;
  ks_event event_{};
};

}  // namespace ks::capi
