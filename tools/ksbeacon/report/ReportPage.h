#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// A simulation as one HTML page without outside parts: a map of the walk, what each beacon and
/// content did over time, and the timeline, all at the moment that the reader picks.
///
/// Equal simulations make equal pages. Grows with the events; of ranging results only the changes
/// are kept.
class ReportPage {
 public:
  /// The scenario must outlive the page.
  explicit ReportPage(const Scenario& scenario) : scenario_(scenario) {}

  /// Takes one event of the timeline; ranging results with all their beacons.
  void note(const TimelineEvent& event);

  std::string html() const;

 private:
  void noteRanging(const TimelineEvent& event);
  /// Nobody hears the region's beacons any more.
  void forget(const std::string& region, Seconds at);
  void change(Seconds at, const std::string& beacon, const std::string& proximity);

  const Scenario& scenario_;
  /// Both as the items of a JSON list.
  std::string events_;
  std::string proximities_;
  /// By region, then by the beacon's name.
  std::map<std::string, std::map<std::string, std::string>> lastProximities_;
  int expected_ = 0;
  int met_ = 0;
};

}  // namespace ks::tool
