#include <gmock/gmock.h>

#include <sstream>

#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "BeaconSDK/Platform/Linux/Machine/HelperPrograms.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class HelperProgramsTest : public testing::Test {
 protected:
  /// A program of the test's, as a shell script.
  std::string program(const std::string& script) {
    const auto file = writeText(folder_.path() / "program", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return file;
  }
  HelperPrograms make(const std::string& path) {
    return {path, queue_, [this](const std::string& text) { complaints_.push_back(text); }};
  }
  std::string written() const { return readText(folder_.path() / "written"); }

  TemporaryFolder folder_;
  MainQueue queue_;
  std::vector<std::string> complaints_;
};

}  // namespace

TEST_F(HelperProgramsTest, HandsTheWholeTextOver) {
  // More than a pipe holds, to a program that is slow to read.
  const std::string text(200'000, 'x');
  auto programs = make(program("sleep 0.2; wc -c >" + (folder_.path() / "written").string()));
  programs.run(text);
  EXPECT_TRUE(runLoopUntil([&] { return written() == "200000\n"; }, Seconds{30}));
  EXPECT_TRUE(runLoopUntil([&] { return programs.isIdle(); }, Seconds{30}));
  EXPECT_THAT(complaints_, testing::IsEmpty());
}

TEST_F(HelperProgramsTest, BoundsWhatRunsAndWhatWaits) {
  const std::string gate = (folder_.path() / "gate").string();
  auto programs = make(program("while [ ! -e " + gate + " ]; do sleep 0.05; done; cat >>" +
                               (folder_.path() / "written").string()));
  constexpr std::size_t kRoom = HelperPrograms::kAtOnce + HelperPrograms::kWaiting;
  for (std::size_t number = 0; number < kRoom + 10; ++number) programs.run("x");
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("too slow: events were dropped")));
  writeText(gate, "");
  EXPECT_TRUE(runLoopUntil([&] { return written().size() == kRoom; }, Seconds{60}));
}

TEST_F(HelperProgramsTest, SaysWhatWentWrongOnce) {
  auto absent = make("/nowhere/program");
  absent.run("");
  absent.run("");
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("No such file")));
  complaints_.clear();
  auto failing = make(program("exit 3"));
  failing.run("");
  EXPECT_TRUE(runLoopUntil([&] { return !complaints_.empty(); }, Seconds{30}));
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("ended with exit code 3")));
}

TEST_F(HelperProgramsTest, EndsWhatStillRuns) {
  const std::string mark = (folder_.path() / "written").string();
  {
    auto programs = make(program("echo $$ >" + mark + "; exec sleep 1000"));
    programs.run("");
    ASSERT_TRUE(runLoopUntil([&] { return !written().empty(); }, Seconds{30}));
  }
  std::istringstream text(written());
  int process = 0;
  text >> process;
  EXPECT_TRUE(runLoopUntil([&] { return kill(process, 0) != 0; }, Seconds{30}));
}

TEST_F(HelperProgramsTest, OpensPagesOnly) {
  std::string failure;
  openPage("file:///etc/passwd", [&](const std::string& text) { failure = text; });
  EXPECT_THAT(failure, HasSubstr("only http:// and https:// are"));
}

}  // namespace ks::test
