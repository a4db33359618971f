#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/ksbeacon/explanation/Chronicle.h"
#include "tools/ksbeacon/explanation/DocumentedZones.h"
#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// Makes one self-contained HTML page of a day: a map of the walk, each beacon's and content's
/// state over time, the timeline, all at the moment that the reader picks, and why each content
/// fired or not. Optionally shows the same day under other rules beside it.
///
/// Equal days give equal pages. Memory grows with the events; only changes of ranging results are
/// kept.
class ReportPage {
 public:
  /// `known` is what is known of the portal's zones.
  explicit ReportPage(KnownZones known = {}) : known_(std::move(known)) {}

  /// Adds an event of the timeline; ranging results need all their beacons.
  void note(const TimelineEvent& event) { note(day_, event); }
  /// The same of the day under other rules.
  void noteOther(const TimelineEvent& event) { note(other_, event); }

  /// Returns the page; `scenario` gives the title and what the map shows.
  std::string html(const Scenario& scenario) const;

 private:
  struct Day {
    /// Both as the items of a JSON list.
    std::string events;
    std::string proximities;
    /// By region, then by the beacon's name.
    std::map<std::string, std::map<std::string, std::string>> lastProximities;
    Chronicle chronicle;
    int expected = 0;
    int met = 0;
  };

  void note(Day& day, const TimelineEvent& event) const;

  KnownZones known_;
  Day day_;
  Day other_;
};

}  // namespace ks::tool
