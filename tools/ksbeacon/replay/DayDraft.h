#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "tools/ksbeacon/replay/RecordedDocuments.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/replay/WalkDraft.h"
#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// Turns a recorded day into a scenario that a person can edit: the walk, the places of the beacons
/// as far as the ranging results tell, the actions of the application and its user, the contents
/// that fired. Running it gives a similar day, not an equal one.
class DayDraft {
 public:
  /// Adds an event of the replay's timeline; ranging results need all their beacons.
  void note(const TimelineEvent& event);
  /// Adds what only the recording's entries contain.
  void readEntries(const std::filesystem::path& recording);

  /// Returns the scenario of a replay with this result.
  Scenario scenario(const std::filesystem::path& recording, const ReplayResult& result) const;
  const RecordedDocuments& documents() const { return documents_; }

 private:
  struct Beacon {
    SimulatedBeacon radio;
    double nearest = -1;
    Seconds nearestAt{0};
  };
  struct Process {
    Date start;
    Seconds at{0};
    std::string portalURL;
  };

  void noteRanging(const TimelineEvent& event);
  void begin(const RecordedEvent& event);
  void placeBeacons(Scenario& day) const;
  void addEvent(const RecordedEvent& event, Seconds at);
  void addCall(const RecordedEvent& event, Seconds at);

  WalkDraft walk_;
  std::map<std::string, Beacon> beacons_;
  std::set<std::string> fired_;
  RecordedDocuments documents_;
  Process process_;
  Date firstStart_;
  Seconds lastEnd_{0};
  bool hasBegun_ = false;
  /// Settings and events from the entries.
  Scenario found_;
};

}  // namespace ks::tool
