#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// A zone as the portal's documents have it.
struct DocumentedZone {
  std::string zone;
  std::string content;
  /// "UUID:major:minor"; empty for a circle.
  std::string beacon;
};

/// The zones of a folder of portal documents; broken documents count as empty.
std::vector<DocumentedZone> documentedZones(const std::filesystem::path& folder);

/// One link of the chain from the portal to the screen.
struct WhyLink {
  enum class State { holds, broken, unknown };
  /// "portal", "start", "region", "sighting", "rules", "announcement", "screen", "statistic".
  const char* name = "";
  State state = State::unknown;
  /// What is known of it, for a person.
  std::string text;
};

/// Why a content fired or did not.
struct WhyAnswer {
  /// In the order from the portal to the screen.
  std::vector<WhyLink> links;
  /// One sentence: what would have to change for it to fire.
  std::string conclusion;
  bool fired = false;
};

/// Follows one content, or the content of one zone, through a timeline.
///
/// Takes events in their order; the answer is about the moment of the last one. Equal timelines
/// give equal answers.
class Explanation {
 public:
  /// `subject` is the identifier of a content or a zone. Without documents `known` is empty: then
  /// zones and contents are known once the engine decides about them.
  Explanation(std::string subject, std::vector<DocumentedZone> known);

  void note(const TimelineEvent& event);
  WhyAnswer answer() const;

 private:
  struct Sighting {
    Seconds at{0};
    std::string proximity;
    double distance = -1;
  };

  void noteApplication(const TimelineEvent& event);
  void noteRegion(const TimelineEvent& event);
  void noteRanging(const TimelineEvent& event);
  void noteDecision(const TimelineEvent& event);
  void noteTransfer(const TimelineEvent& event);
  bool isAbout(const TimelineEvent& event) const;
  bool isOurRegion(const std::string& region) const;

  WhyLink portalLink() const;
  WhyLink startLink() const;
  WhyLink regionLink() const;
  WhyLink sightingLink() const;
  WhyLink rulesLink() const;
  std::string remedyFor(const std::string& link) const;
  std::string remedyForRules() const;

  std::string subject_;
  std::vector<DocumentedZone> zones_;
  bool hasDocuments_ = false;
  std::set<std::string> zoneNames_;

  std::optional<bool> isStarted_;
  std::string startText_ = "the library was not started";
  std::string permission_;
  bool isRadioOff_ = false;
  std::string portalTrouble_;
  std::optional<Seconds> monitored_;
  bool monitoringEnded_ = false;
  std::optional<Seconds> entered_;
  bool isInside_ = false;
  std::optional<Sighting> seen_;
  std::optional<TimelineEvent> decision_;
  std::optional<Seconds> fired_;
  std::optional<Seconds> announced_;
  std::optional<Seconds> shown_;
  std::optional<Seconds> told_;
};

}  // namespace ks::tool
