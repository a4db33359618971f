#pragma once

#include <string>
#include <vector>

#include "tools/ksbeacon/explanation/Chronicle.h"
#include "tools/ksbeacon/explanation/DocumentedZones.h"

namespace ks::tool {

/// One link of the chain from the portal to the screen.
struct WhyLink {
  enum class State { holds, broken, unknown };
  /// "portal", "start", "region", "sighting", "delivery", "rules", "announcement", "screen",
  /// "opening", "statistic".
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

/// Explains the state at the chronicle's last event. `subject` is the identifier of a content or a
/// zone. What `known` lacks is known once the engine has decided about it. Equal timelines give
/// equal answers.
WhyAnswer explain(const Chronicle& chronicle, const std::string& subject, const KnownZones& known);

/// Returns the answer as members "fired", "links" and "conclusion".
Dictionary whyDetails(const WhyAnswer& answer);
/// Returns these members as lines for a terminal.
std::string whyText(const Dictionary& details);

}  // namespace ks::tool
