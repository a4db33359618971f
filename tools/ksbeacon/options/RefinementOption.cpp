#include "tools/ksbeacon/options/RefinementOption.h"

namespace ks::tool {

CLI::Option* addRefinementOption(CLI::App& command, std::vector<std::string>& chosen,
                                 const std::string& usual) {
  std::vector<std::string> choices{"all", "none"};
  for (const auto& [name, member] : ks::Refinements::named()) choices.emplace_back(name);
  return command
      .add_option("--refinements", chosen,
                  "Behaviour beyond the default, separated by commas; " + usual)
      ->type_name("NAMES")
      ->delimiter(',')
      ->check(CLI::IsMember(choices).description(""));
}

ks::Refinements refinementsIn(const std::vector<std::string>& chosen) {
  ks::Refinements refinements;
  for (const std::string& choice : chosen) {
    if (choice == "all") refinements = ks::Refinements::all();
    for (const auto& [name, member] : ks::Refinements::named()) {
      if (name == choice) refinements.*member = true;
    }
  }
  return refinements;
}

}  // namespace ks::tool
