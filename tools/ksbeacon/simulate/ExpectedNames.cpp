#include "tools/ksbeacon/simulate/ExpectedNames.h"

#include <fmt/format.h>

#include <string>

#include "tools/ksbeacon/check/DocumentCheck.h"
#include "tools/ksbeacon/output/Suggestion.h"

namespace ks::tool {

std::optional<InputError> unknownExpectedName(const Scenario& scenario) {
  const auto names = documentNames(scenario.portal.documents);
  if (!names) return std::nullopt;
  for (std::size_t i = 0; i < scenario.expectations.size(); ++i) {
    const Scenario::Expectation& expectation = scenario.expectations[i];
    const auto unknown = [&](const char* member, const std::string& name,
                             const std::set<std::string>& known) {
      return InputError{scenario.file.string(), expectation.line,
                        fmt::format("expect[{}].{}", i, member),
                        fmt::format("expected a {} of the portal's documents, got \"{}\"{}", member,
                                    name, suggestion(name, {known.begin(), known.end()}))};
    };
    if (expectation.subject == Scenario::Expectation::Subject::content &&
        !names->contents.contains(expectation.name)) {
      return unknown("content", expectation.name, names->contents);
    }
    if (!expectation.zone.empty() && !names->zones.contains(expectation.zone)) {
      return unknown("zone", expectation.zone, names->zones);
    }
    if (expectation.subject == Scenario::Expectation::Subject::entered &&
        !names->zones.contains(expectation.name)) {
      return unknown("zone", expectation.name, names->zones);
    }
  }
  return std::nullopt;
}

}  // namespace ks::tool
