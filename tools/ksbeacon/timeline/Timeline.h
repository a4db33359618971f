#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// Takes the events of a simulation in the order in which they happen and hands each to everybody
/// who listens. One thread.
class Timeline {
 public:
  using Listener = std::function<void(const TimelineEvent&)>;

  void listen(Listener listener) { listeners_.push_back(std::move(listener)); }
  void add(const TimelineEvent& event) const {
    for (const Listener& listener : listeners_) listener(event);
  }

 private:
  std::vector<Listener> listeners_;
};

/// An event as one JSON object without a line end; `start` is the moment from which events count.
std::string timelineJson(const TimelineEvent& event, Date start);

/// Writes a timeline, an event a line.
class TimelinePrinter {
 public:
  enum class Form { text, json };
  struct Options {
    Form form = Form::text;
    /// Marks the kinds with terminal colours.
    bool colours = false;
    /// Minor events and the log as well.
    bool everything = false;
    bool log = false;
    /// Texts begin with the local date and time instead of the time since the start.
    bool wallClock = false;
    /// Events of a greater number, as `priorityOf` counts, are left out.
    int leastPriority = 7;
  };

  /// `start` is the moment from which JSON lines count their dates.
  TimelinePrinter(std::ostream& stream, Date start, Options options)
      : stream_(stream), start_(start), options_(options) {}

  void print(const TimelineEvent& event);

 private:
  void printText(const TimelineEvent& event);

  std::ostream& stream_;
  Date start_;
  Options options_;
};

}  // namespace ks::tool
