#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Tools/CommandRunner.h"

namespace ks::tool {
namespace {

/// A terminal's control of each kind, and a byte that is no text.
const std::string kHostile =
    "x\x1b]0;owned\x07\r\x7f\xC2\x9B"
    "2J\xE2\x80\xA8\xE2\x80\xAE\xE2\x81\xA6\x9By";

/// In a JSON text, where the same characters stand escaped.
std::string escaped() { return quotedJson(kHostile); }

/// Everything a command wrote: all of it fit for a terminal but its ends of lines.
void expectPrintable(const test::CommandResult& result, const std::string& command) {
  for (std::string text : {result.output, result.errors}) {
    std::ranges::replace(text, '\n', '.');
    EXPECT_EQ(text, printable(text)) << command;
  }
  EXPECT_NE(result.output + result.errors, "") << command;
}

class HostileTextTest : public testing::Test {
 protected:
  HostileTextTest() {
    std::filesystem::create_directory(portal);
    test::writeText(portal / "categories.json",
                    "[{\"id\":" + escaped() + ",\"name\":" + escaped() + "," + escaped() + ":1}]");
    test::writeText(walk, R"({"start":"2026-05-04T09:00:00Z","until":60,"title":)" + escaped() +
                              R"(,"origin":{"latitude":1,"longitude":1},"portal":{"documents":)"
                              R"("good"},"application":{"tags":{)" +
                              escaped() + ":" + escaped() +
                              R"(}},"walk":{"from":{"east":1,"north":1}},)"
                              R"("events":[{"at":5,"do":"openContent","content":)" +
                              escaped() + R"(}],"expect":[{"request":)" +
                              quotedJson("/" + kHostile) + "}]}");
    test::writeText(
        folder / "list",
        "<plist version=\"1.0\"><dict><key>k\xC2\x9By</key><string>\xE2\x80\xAE\xC2\x9By"
        "</string></dict></plist>");
    std::filesystem::create_directory(folder / "good");
  }

  test::TemporaryFolder folder;
  const std::filesystem::path portal = folder / kHostile;
  const std::filesystem::path walk = folder / (kHostile + ".json");
};

TEST(PrintableTextTest, ReplacesOrEscapesWhatControlsTerminals) {
  const struct {
    std::string text, shown, json;
  } cases[] = {
      {"a\tb\x1b[m", "a b [m", R"("a\tb\u001b[m")"},
      {"\x7f\xC2\x80\xC2\x9F\xC2\xA0", "   \xC2\xA0", "\"\\u007f\\u0080\\u009f\xC2\xA0\""},
      {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xAF", "\xE2\x80\xA7 \xE2\x80\xAF",
       "\"\xE2\x80\xA7\\u2028\xE2\x80\xAF\""},
      {"\xE2\x80\xAA\xE2\x80\xAE\xE2\x81\xA6\xE2\x81\xA9", "    ", R"("\u202a\u202e\u2066\u2069")"},
      // A lone continuation, an overlong form, a surrogate, a cut one.
      {"\x9B|\xC0\x9B|\xED\xA0\x80|\xE2\x80",
       "\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD|"
       "\xEF\xBF\xBD\xEF\xBF\xBD",
       "\"\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD|"
       "\xEF\xBF\xBD\xEF\xBF\xBD\""},
      {"\"\\ \xF0\x9F\x98\x80", "\"\\ \xF0\x9F\x98\x80", "\"\\\"\\\\ \xF0\x9F\x98\x80\""},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(printable(each.text), each.shown);
    EXPECT_EQ(quotedJson(each.text), each.json);
  }
}

TEST_F(HostileTextTest, ReachesNoTerminalByFiles) {
  for (const std::string& arguments : {
           "simulate '" + walk.string() + "'",
           "simulate --json '" + walk.string() + "'",
           "simulate --repeat 2 '" + walk.string() + "'",
           "simulate '" + walk.string() + "' --report '" + portal.string() + "'",
           "simulate '" + (folder / "list").string() + "'",
           "check '" + portal.string() + "'",
           "check --json '" + portal.string() + "'",
           "check '" + walk.string() + "'",
           "portal '" + portal.string() + "'",
           "portal '" + (folder / "good").string() + "' --credentials '" + walk.string() + "'",
           "inspect '" + (folder / "list").string() + "'",
           "inspect --json '" + (folder / "list").string() + "'",
           "inspect '" + walk.string() + "'",
       }) {
    expectPrintable(test::runCommand(KS_COMMAND " " + arguments), arguments);
  }
}

TEST_F(HostileTextTest, ReachesNoTerminalByArguments) {
  for (const std::string command : {"",
                                    "--",
                                    "simulate ",
                                    "simulate --",
                                    "portal ",
                                    "check ",
                                    "run ",
                                    "scan ",
                                    "doctor ",
                                    "inspect ",
                                    "help ",
                                    "completion ",
                                    "simulate x --seed ",
                                    "simulate x --portal ",
                                    "portal x --fault ",
                                    "portal x --port ",
                                    "scan --for ",
                                    "doctor --wait ",
                                    "run --user u --portal ",
                                    "run --user u --portal http://y --tag ",
                                    "run --user u --portal http://y --ca ",
                                    "run --user u --portal http://y --password-file ",
                                    "run --refinements "}) {
    const std::string line = command + "'" + kHostile + "'";
    expectPrintable(test::runCommand(KS_COMMAND " " + line), line);
  }
}

TEST_F(HostileTextTest, ReachesNoTerminalByRequests) {
  test::writeText(folder / "lines", kHostile + "\nfault " + kHostile + "\n");
  test::BackgroundCommand server(KS_COMMAND " portal '" + (folder / "good").string() +
                                 "' --port 0 < '" + (folder / "lines").string() + "'");
  const auto url = [&] {
    const std::string text = server.errors();
    const auto at = text.find("http://");
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
  };
  ASSERT_TRUE(test::runLoopUntil([&] { return !url().empty(); }));
  const std::string request = "curl -s -o /dev/null '" + url() + "/%1b%5d0;%07%c2%9b%e2%80%ae%9by'";
  EXPECT_EQ(test::runCommand(request).code, 0);
  EXPECT_TRUE(server.writes("  401"));
  server.signal(SIGTERM);
  server.wait();
  expectPrintable({0, server.output(), server.errors()}, "portal");
}

}  // namespace
}  // namespace ks::tool
