#include <limits>

#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"
#include "tests/Network/PortalTest.h"

namespace ks::test {
namespace {

using namespace NSJSONSerialization;

class NSJSONSerializationTest : public PortalTest {};

std::string nested(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

TEST_F(NSJSONSerializationTest, ReadsUnusualDocuments) {
  const std::pair<std::string, const char*> cases[] = {
      {"\xEF\xBB\xBF [] ", "()"},
      {"18446744073709551615", "18446744073709551615"},
      {"18446744073709551616", "18446744073709551616"},
      {"-9223372036854775809", "-9223372036854775808"},
      {"123456789012345678901234", "1.2345678901234569e+23"},
      {"-0", "0"},
      {"-0.0", "-0"},
      {"104.274709022334093", "104.2747090223341"},
      {"1e-400", "0"},
      {"1.0", "1"},
      {R"({"a":1,"b":2,"a":3})", "{a = 3; b = 2; }"},
      {R"("\ud83d\ude00")", "\xF0\x9F\x98\x80"},
      {R"([true,null,"\u00e8"])", "(1, <null>, \xC3\xA8)"},
  };
  for (const auto& [text, description] : cases) {
    const auto value = JSONObjectWithData(text);
    ASSERT_TRUE(value) << text << value.error().description();
    EXPECT_EQ(value->description(), description) << text;
  }
  EXPECT_TRUE(JSONObjectWithData(nested(64)));
  EXPECT_TRUE(JSONObjectWithData(nested(kMaximumDepth)));
}

TEST_F(NSJSONSerializationTest, RejectsDamagedDocuments) {
  const std::string cases[] = {"",
                               " ",
                               "\xEF\xBB\xBF",
                               "\xFF\xFE[\0]\0",
                               "[] []",
                               "[1,]",
                               "[1e400]",
                               "-1e99999999999",
                               R"(["\ud800"])",
                               R"(["\udc00\ud800"])",
                               "[\"\xC3\"]",
                               "[NaN]",
                               "{\"a\"",
                               nested(kMaximumDepth + 1),
                               std::string(1'000'000, '['),
                               std::string("[]\0", 3)};
  for (const auto& text : cases) {
    EXPECT_FALSE(JSONObjectWithData(text)) << text.substr(0, 40);
  }
  EXPECT_EQ(JSONObjectWithData("[1] x").error().localizedDescription(),
            "The document is not valid JSON: extra data at byte 4");
}

TEST_F(NSJSONSerializationTest, WritesCompactTextInOrder) {
  const Dictionary body{{"z", "q\"\n"},
                        {"a", Value()},
                        {"n", Dictionary{{"i", -3}, {"d", 0.5}, {"b", false}}},
                        {"l", Array{Null{}, std::numeric_limits<double>::infinity()}}};
  EXPECT_EQ(dataWithJSONObject(body),
            R"({"z":"q\"\n","a":null,"n":{"i":-3,"d":5E-1,"b":false},"l":[null,null]})");
}

TEST(PortalNumberTest, ReadsLeadingIntegers) {
  constexpr auto kHigh = std::numeric_limits<std::int32_t>::max();
  constexpr auto kLow = std::numeric_limits<std::int32_t>::min();
  const std::pair<const char*, std::int32_t> cases[] = {
      {"", 0},
      {"-", 0},
      {"x", 0},
      {" \t12x", 12},
      {"+7", 7},
      {"+-7", 0},
      {"-7.9", -7},
      {"1e3", 1},
      {"2147483648", kHigh},
      {"-2147483649", kLow},
      {"0x10", 0},
      {".5", 0},
      {"007", 7},
      {"99999999999999999999999", kHigh},
  };
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(PortalNumber::integerFromText(text), number) << text;
  }
}

TEST(PortalNumberTest, ReadsLeadingDoubles) {
  constexpr double kHigh = std::numeric_limits<double>::max();
  const std::pair<std::string, double> cases[] = {
      {"", 0},
      {".5", 0.5},
      {"-.5", -0.5},
      {"+1.5e2 m", 150},
      {"1e", 1},
      {"inf", 0},
      {"-nan", 0},
      {"0x10", 0},
      {"1e400", kHigh},
      {"-1e400", -kHigh},
      {"1e-400", 0},
      {"-", 0},
      {"- 1", 0},
      {"1,5", 1},
      {"0." + std::string(500, '0') + "1", 0},
      {"0." + std::string(500, '0') + "1e1000", kHigh},
      {std::string(500, '9'), kHigh},
      {"1e99999999999999999999", kHigh},
      {"1e-99999999999999999999", 0},
  };
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(PortalNumber::doubleFromText(text), number) << text;
  }
  EXPECT_EQ(PortalNumber::floatFromText("-1e300"), std::numeric_limits<float>::lowest());
}

}  // namespace
}  // namespace ks::test
