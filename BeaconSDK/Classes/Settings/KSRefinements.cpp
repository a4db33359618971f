#include "BeaconSDK/Classes/Settings/KSRefinements.h"

std::span<const KSRefinements::Named> KSRefinements::named() {
  static constexpr Named kNamed[] = {
      {"exactStays", &KSRefinements::exactStays},
      {"categoriesFromFirstList", &KSRefinements::categoriesFromFirstList},
      {"keptStatistics", &KSRefinements::keptStatistics},
      {"everyAnnouncement", &KSRefinements::everyAnnouncement},
      {"oneActivation", &KSRefinements::oneActivation},
      {"startAlwaysAnswers", &KSRefinements::startAlwaysAnswers},
  };
  return kNamed;
}

KSRefinements KSRefinements::all() {
  KSRefinements refinements;
  for (const auto& [name, member] : named()) refinements.*member = true;
  return refinements;
}
