#include "BeaconSDK/Classes/Settings/Refinements.h"

namespace ks {

std::span<const Refinements::Named> Refinements::named() {
  static constexpr Named kNamed[] = {
      {"exactStays", &Refinements::exactStays},
      {"categoriesFromFirstList", &Refinements::categoriesFromFirstList},
      {"keptStatistics", &Refinements::keptStatistics},
      {"everyAnnouncement", &Refinements::everyAnnouncement},
      {"steadyClock", &Refinements::steadyClock},
      {"oneActivation", &Refinements::oneActivation},
      {"startAlwaysAnswers", &Refinements::startAlwaysAnswers},
  };
  return kNamed;
}

Refinements Refinements::all() {
  Refinements refinements;
  for (const auto& [name, member] : named()) refinements.*member = true;
  return refinements;
}

}  // namespace ks
