#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// What fired in two runs of one day, and how they differ.
class Comparison {
 public:
  enum class Run { before, after };

  /// One content whose firing differs.
  struct Difference {
    std::string content;
    std::size_t before = 0;
    std::size_t after = 0;
    /// Of the first time that differs; later above 0. 0 where one of the runs has no such time.
    Seconds shift{0};
  };

  void note(Run run, const TimelineEvent& event);

  /// In the order of the contents' names; empty when the days are equal.
  std::vector<Difference> differences() const;
  /// Contents fired in each hour of the day, before and after; only hours that differ.
  std::map<int, std::pair<std::size_t, std::size_t>> hours() const;

 private:
  /// The moments of each content, before and after.
  std::map<std::string, std::pair<std::vector<Seconds>, std::vector<Seconds>>> fired_;
};

/// "content welcome: fires 3 times instead of once, 60 s later".
std::string inWords(const Comparison::Difference& difference);

}  // namespace ks::tool
