#include "tools/ksbeacon/output/Suggestion.h"

#include <algorithm>

#include "BeaconSDK/Platform/Api/Ascii.h"

namespace ks::tool {

namespace {

/// Longer texts are no names.
constexpr std::size_t kLongestName = 64;
constexpr std::size_t kLettersPerMistake = 3;

/// How many letters are missing, added, wrong or swapped (optimal string alignment).
std::size_t mistakesBetween(const std::string& one, const std::string& other) {
  std::vector<std::vector<std::size_t>> cost(one.size() + 1,
                                             std::vector<std::size_t>(other.size() + 1));
  for (std::size_t i = 0; i <= one.size(); ++i) cost[i][0] = i;
  for (std::size_t k = 0; k <= other.size(); ++k) cost[0][k] = k;
  for (std::size_t i = 1; i <= one.size(); ++i) {
    for (std::size_t k = 1; k <= other.size(); ++k) {
      const std::size_t wrong = one[i - 1] == other[k - 1] ? 0 : 1;
      cost[i][k] = std::min({cost[i - 1][k] + 1, cost[i][k - 1] + 1, cost[i - 1][k - 1] + wrong});
      const bool isSwapped =
          i > 1 && k > 1 && one[i - 1] == other[k - 2] && one[i - 2] == other[k - 1];
      if (isSwapped) cost[i][k] = std::min(cost[i][k], cost[i - 2][k - 2] + 1);
    }
  }
  return cost[one.size()][other.size()];
}

}  // namespace

std::string suggestion(std::string_view wrong, const std::vector<std::string>& known) {
  if (wrong.size() < kLettersPerMistake || wrong.size() > kLongestName) return "";
  const std::string* best = nullptr;
  std::size_t fewest = std::max<std::size_t>(1, wrong.size() / kLettersPerMistake) + 1;
  for (const std::string& name : known) {
    if (name.size() > kLongestName) continue;
    const std::size_t mistakes =
        mistakesBetween(asciiLowerCased(std::string(wrong)), asciiLowerCased(name));
    if (mistakes >= fewest) continue;
    fewest = mistakes;
    best = &name;
  }
  return best == nullptr ? "" : "; did you mean \"" + *best + "\"?";
}

}  // namespace ks::tool
