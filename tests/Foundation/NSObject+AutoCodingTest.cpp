#include <gmock/gmock.h>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Platform/Api/Class.h"
#include "tests/Support/PlatformFixture.h"

namespace ks {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Base : public Object {
 public:
  static constexpr const char* kClassName = "CodingBase";
  static const Class kClass;
  const Class& objectClass() const override { return kClass; }
  std::optional<std::string> name;
  bool flag = false;
};
const Class Base::kClass{kClassName,
                         nullptr,
                         makeObject<Base>,
                         {property("name", &Base::name), property("flag", &Base::flag)}};

/// Declares `name` once more, and hides a property by a hook of old.
class Derived : public Base {
 public:
  static constexpr const char* kClassName = "CodingDerived";
  static const Class kClass;
  const Class& objectClass() const override { return kClass; }
  int ownName = 7;
  int hidden = 8;
};
const Class Derived::kClass{
    kClassName,
    &Base::kClass,
    makeObject<Derived>,
    {property("name", &Derived::ownName), property("hidden", &Derived::hidden)},
    DeprecatedCoding{
        .codableKeys = true, .uncodableKeys = false, .uncodableProperties = {{"hidden"}}}};

std::vector<std::string> names(const std::vector<Property>& properties) {
  std::vector<std::string> names;
  for (const auto& property : properties) names.push_back(property.name);
  return names;
}

}  // namespace

using NSObjectAutoCodingTest = testing::PlatformFixture;

TEST_F(NSObjectAutoCodingTest, SuperclassEntriesReplaceSubclassOnes) {
  Derived record;
  record.name = "text";
  EXPECT_THAT(names(NSObjectAutoCoding::codableProperties(record)), ElementsAre("name", "flag"));
  EXPECT_EQ(NSObjectAutoCoding::dictionaryRepresentation(record),
            (Dictionary{{"name", "text"}, {"flag", false}}));
  record.name.reset();
  EXPECT_FALSE(NSObjectAutoCoding::dictionaryRepresentation(record).contains("name"));
}

TEST_F(NSObjectAutoCodingTest, DeprecatedHooksAreWarnedAbout) {
  platform_->console().clear();
  NSObjectAutoCoding::codableProperties(Derived::kClass);
  NSObjectAutoCoding::codableProperties(Base::kClass);
  EXPECT_THAT(platform_->console().lines(),
              ElementsAre("AutoCoding Warning: codableKeys method is no longer supported. Use "
                          "codableProperties instead.",
                          AllOf(HasSubstr("uncodableProperties method is no longer supported."),
                                HasSubstr("non-KVC-compliant names to avoid coding them"))));
}

}  // namespace ks
