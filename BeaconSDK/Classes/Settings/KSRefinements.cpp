#include "BeaconSDK/Classes/Settings/KSRefinements.h"

std::span<const KSRefinements::Named> KSRefinements::named() {
  static constexpr Named kNamed[] = {
      {"categoriesFromFirstList", &KSRefinements::categoriesFromFirstList},
      {"keptStatistics", &KSRefinements::keptStatistics},
      {"everyAnnouncement", &KSRefinements::everyAnnouncement},
      {"oneActivation", &KSRefinements::oneActivation},
  };
  return kNamed;
}

KSRefinements KSRefinements::all() {
  KSRefinements refinements;
  for (const auto& [name, member] : named()) refinements.*member = true;
  return refinements;
}
