#include <gtest/gtest.h>

#include "BeaconSDK/Classes/Common/Foundation/NSArray+Helpers.h"
#include "BeaconSDK/Platform/Api/Error.h"

namespace ks::NSArrayHelpers {
namespace {

TEST(NSArrayHelpersTest, KeepsOrderAndDuplicates) {
  const std::vector<int> list{3, 1, 2, 2, 3};
  EXPECT_EQ(arrayByRemovingObjectsOfArray(list, {2}), (std::vector{3, 1, 3}));
  EXPECT_EQ(arrayIntersectionWith(list, {2, 9, 3}), (std::vector{3, 2, 2, 3}));
  const auto isEven = [](int number) { return number % 2 == 0; };
  EXPECT_EQ(findObject(list, isEven), 2);
  EXPECT_EQ(findObject(std::vector{1, 3}, isEven), std::nullopt);
  const std::vector<Value> values{1, "a", Value()};
  EXPECT_EQ(arrayIntersectionWith(values, {"a", 1.0}), (std::vector<Value>{1, "a"}));
}

TEST(NSArrayHelpersTest, ComparesRecordsByTheirEquality) {
  const auto make = [](const char* text) { return std::make_shared<Error>("D", -1, text); };
  const auto first = make("a");
  const std::vector<std::shared_ptr<Error>> list{first, make("b"), nullptr};
  EXPECT_EQ(arrayIntersectionWith(list, {make("a")}), (std::vector{first}));
  EXPECT_EQ(arrayByRemovingObjectsOfArray(list, {make("b"), nullptr}), (std::vector{first}));
}

}  // namespace
}  // namespace ks::NSArrayHelpers
