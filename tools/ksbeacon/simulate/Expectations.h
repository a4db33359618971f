#pragma once

#include <string>
#include <vector>

#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// Holds what happens against what the scenario expects.
class Expectations {
 public:
  explicit Expectations(const Scenario& scenario);

  /// Looks at one event of the timeline.
  void note(const TimelineEvent& event);

  struct Outcome {
    const Scenario::Expectation* expectation;
    bool met;
    /// "content welcome fires once between 0:00:10.000 and 0:00:40.000".
    std::string expected;
    /// "fired at 0:01:10.000": what happened instead, or as well.
    std::string happened;
  };

  /// In the order of the scenario, for a simulation that went as far as `end`.
  std::vector<Outcome> outcomes(Seconds end) const;

  /// The line of the timeline that tells of an outcome.
  static TimelineEvent eventOf(const Outcome& outcome, Seconds at);

 private:
  struct Watched {
    const Scenario::Expectation* expectation;
    /// All moments at which it happened, the expected span or not.
    std::vector<Seconds> moments;
  };

  std::vector<Watched> watched_;
};

}  // namespace ks::tool
