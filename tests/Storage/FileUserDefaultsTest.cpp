#include <gmock/gmock.h>

#include <cerrno>
#include <cmath>
#include <vector>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Storage/FileUserDefaults.h"
#include "tests/Storage/SystemCalls.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks {

using test::SystemCall;
using test::SystemCalls;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class FileUserDefaultsTest : public ::testing::Test, public Console {
 protected:
  void log(std::string_view message) override { lines_.emplace_back(message); }

  test::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_ / "defaults";
  std::vector<std::string> lines_;
};

TEST_F(FileUserDefaultsTest, DamagedFilesAreSetAside) {
  std::string deep = "m1\nskey\n";
  for (int i = 0; i < 100000; ++i) deep += "a1\n";
  for (const std::string& content :
       {std::string(""), std::string("m1\n"), std::string("m1\nskey\n"),
        std::string("m99999999999\nskey\ni1\n"), std::string("m1\nskey\ni1\nextra\n"),
        std::string("s%\n"), std::string("m1\nskey\ni12x\n"), std::string("i5\n"), deep + "i1\n",
        std::string(17 << 20, 'x')}) {
    lines_.clear();
    test::writeText(file_, content);
    FileUserDefaults defaults(file_, *this);
    EXPECT_TRUE(defaults.objectForKey("key").isAbsent());
    EXPECT_THAT(lines_, ElementsAre(HasSubstr("kept as " + file_.string() + ".damaged")));
    EXPECT_EQ(test::readText(file_.string() + ".damaged"), content);
    defaults.setObject("key", 2);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(FileUserDefaults(file_, *this).objectForKey("key"), Value(2));
  }
}

TEST_F(FileUserDefaultsTest, UnreadableFilesAreMergedBeforeWriting) {
  FileUserDefaults(file_, *this).setObject("removed", 1);
  FileUserDefaults(file_, *this).setObject("kept", 1);
  FileUserDefaults(file_, *this).setObject("changed", 1);
  std::optional<FileUserDefaults> defaults;
  {
    const SystemCalls shim([](const SystemCall& call) { return call.name == "open" ? EMFILE : 0; });
    defaults.emplace(file_, *this);
    defaults->setObject("removed", Value());
    defaults->setObject("changed", 2);
    EXPECT_FALSE(defaults->synchronize());
  }
  EXPECT_TRUE(defaults->synchronize());
  const FileUserDefaults later(file_, *this);
  EXPECT_EQ(later.objectForKey("kept"), Value(1));
  EXPECT_EQ(later.objectForKey("changed"), Value(2));
  EXPECT_TRUE(later.objectForKey("removed").isAbsent());
}

TEST_F(FileUserDefaultsTest, RefusesWhatTheFileCannotHold) {
  FileUserDefaults defaults(file_, *this);
  const Value text("  spaces\r\n<&>\t " + std::string("\0%41\xFF", 5));
  defaults.setObject("text", text);
  defaults.setObject("real", HUGE_VAL);
  EXPECT_TRUE(defaults.synchronize());
  defaults.setObject("object", Value(std::make_shared<Error>()));
  EXPECT_FALSE(defaults.synchronize());
  const FileUserDefaults later(file_, *this);
  EXPECT_EQ(later.objectForKey("text"), text);
  EXPECT_EQ(later.objectForKey("real"), Value(HUGE_VAL));
}

}  // namespace ks
