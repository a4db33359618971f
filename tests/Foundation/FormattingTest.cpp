#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Error.h"

namespace ks {
namespace {

/// Pairs of what was formatted and what was expected.
void expectAll(const std::vector<std::pair<std::string, std::string>>& cases) {
  for (const auto& [actual, expected] : cases) EXPECT_EQ(actual, expected);
}

TEST(FormattingTest, DescribesEveryKindOfValue) {
  const std::optional<std::string> none;
  const auto error = std::make_shared<Error>("Domain", -1, "broken");
  expectAll({
      {stringWithFormat("%@ %@ %@", std::optional<std::string>("a"), none, "b"), "a (null) b"},
      {stringWithFormat("%@", std::shared_ptr<Error>()), "(null)"},
      {stringWithFormat("%@|%@", error, *error), "Domain (-1): broken|Domain (-1): broken"},
      {stringWithFormat("%@ %@ %@", 7, 2.5, true), "7 2.5 1"},
      {stringWithFormat("%@", dateFromSecondsSince1970(0)), "1970-01-01 00:00:00 +0000"},
      {stringWithFormat("%@", std::optional<UUID>(UUID{})), "00000000-0000-0000-0000-000000000000"},
      {stringWithFormat("%@", Value(Array{1, "x"})), "(1, x)"},
  });
}

TEST(FormattingTest, ConvertsNumbersAsTheLettersSay) {
  constexpr std::int64_t kBeyond32Bits = (1LL << 32) + 7;
  expectAll({
      {stringWithFormat("%d %ld", kBeyond32Bits, kBeyond32Bits), "7 4294967303"},
      {stringWithFormat("%u %tu", -1LL, -1LL), "4294967295 18446744073709551615"},
      {stringWithFormat("%hhu %hd", 300, 65535), "44 -1"},
      {stringWithFormat("%f %d", 60, 59.9), "60.000000 59"},
      {stringWithFormat("[%5.1f|%-4d|%04X]", 2.25, 7, 255), "[  2.2|7   |00FF]"},
      {stringWithFormat("%d", std::numeric_limits<double>::quiet_NaN()), "0"},
      {stringWithFormat("%s %5s|%c", "text", std::string("ab"), 'z'), "text    ab|z"},
  });
}

TEST(FormattingTest, SurvivesFormatsThatDoNotFit) {
  expectAll({
      {stringWithFormat("%d of %@", 1), "1 of %@"},
      {stringWithFormat("plain", 1, 2), "plain"},
      {stringWithFormat("100%% and %"), "100% and %"},
      {stringWithFormat("%d|%f", "seven", nullptr), "seven|(null)"},
      {stringWithFormat("%n%p%*d", 1), "%n%p%*d"},
      {stringWithFormat("%999999999d", 1), "%999999999d"},
      {stringWithFormat("%.99999999f", 1.0), "%.99999999f"},
  });
}

}  // namespace
}  // namespace ks
