#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// Compares what fired and what was shown in two runs of the same days. A day is one visitor's.
class Comparison {
 public:
  enum class Run { before, after };

  struct Counts {
    std::size_t before = 0;
    std::size_t after = 0;
    bool differ() const { return before != after; }
  };
  /// One content whose firing differs.
  struct Difference {
    std::string content;
    Counts fired;
    /// Of the first time that differs; later above 0. 0 where one of the runs has no such time.
    Seconds shift{0};
  };
  /// An hour, counted from the start of the recordings.
  struct Hour {
    Counts fired;
    Counts notified;
  };

  /// Adds an event of the recording `day`; events in their order, one day after the other.
  void note(Run run, const std::string& day, const TimelineEvent& event);

  /// Returns the contents that differ, sorted by name.
  std::vector<Difference> differences() const;
  /// Returns the hours that differ.
  std::map<int, Hour> hours() const;
  /// Returns the number of notifications on the days where it differs, the largest increase first.
  std::vector<std::pair<std::string, Counts>> days() const;

 private:
  using Moment = std::pair<std::string, Seconds>;

  /// The moments of each content, before and after.
  std::map<std::string, std::pair<std::vector<Moment>, std::vector<Moment>>> fired_;
  std::map<int, Hour> hours_;
  std::map<std::string, Counts> notified_;
};

/// "content welcome: fires 3 times instead of once, 60 s later".
std::string inWords(const Comparison::Difference& difference);
/// "hour 9: 3 contents fire instead of 1, 3 notifications instead of 1".
std::string inWords(int hour, const Comparison::Hour& counts);

}  // namespace ks::tool
