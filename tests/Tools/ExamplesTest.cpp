#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/portal/PortalServer.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/Simulation.h"

namespace ks::tool {
namespace {

using test::readText;
using test::writeText;

const std::filesystem::path kSource = KS_SOURCE_DIR;

struct Output {
  int code = -1;
  std::string text;
};

/// Both streams of a command, in the order of its lines.
Output run(const std::string& command) {
  Output output;
  FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return output;
  std::array<char, 4096> buffer{};
  while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) output.text += buffer.data();
  output.code = WEXITSTATUS(pclose(pipe));
  return output;
}

class ExampleScenarioTest : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(ExampleScenarioTest, MeetsItsExpectationsTwiceAlike) {
  const auto read = readScenarioFile(GetParam());
  ASSERT_TRUE(std::holds_alternative<Scenario>(read)) << std::get<InputError>(read).message();
  const Scenario& scenario = std::get<Scenario>(read);
  EXPECT_FALSE(scenario.expectations.empty());
  std::array<std::ostringstream, 2> outputs;
  for (std::ostringstream& output : outputs) {
    TimelinePrinter printer(output, scenario.start,
                            {.form = TimelinePrinter::Form::json, .log = true});
    Timeline timeline;
    timeline.listen([&printer](const TimelineEvent& event) { printer.print(event); });
    SimulationOptions options;
    options.log = true;
    const SimulationResult result = simulate(scenario, options, timeline);
    EXPECT_EQ(result.failure, "");
    EXPECT_TRUE(result.portalMessages.empty());
    EXPECT_EQ(result.breaches, 0);
    for (const Expectations::Outcome& outcome : result.outcomes) {
      EXPECT_TRUE(outcome.met) << outcome.expected << "; " << outcome.happened;
    }
  }
  EXPECT_EQ(outputs[0].str(), outputs[1].str());
  EXPECT_EQ(outputs[0].str().find("127.0.0.1"), std::string::npos);
}

TEST_P(ExampleScenarioTest, MeetsItsExpectationsWithoutRefinements) {
  Scenario scenario = std::get<Scenario>(readScenarioFile(GetParam()));
  if (scenario.application.refinements == ks::Refinements{}) return;
  scenario.application.refinements = {};
  Timeline timeline;
  const SimulationResult result = simulate(scenario, {}, timeline);
  EXPECT_EQ(result.breaches, 0);
  EXPECT_LT(result.outcomes.size(), scenario.expectations.size());
  for (const Expectations::Outcome& outcome : result.outcomes) {
    EXPECT_TRUE(outcome.met) << outcome.expected << "; " << outcome.happened;
  }
}

std::vector<std::filesystem::path> exampleScenarios() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(kSource / "examples/scenarios")) {
    files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleScenarioTest, testing::ValuesIn(exampleScenarios()),
                         [](const auto& test) {
                           std::string name = test.param.stem().string();
                           std::erase(name, '-');
                           return name;
                         });

Scenario exampleScenario(const std::string& name) {
  return std::get<Scenario>(readScenarioFile(kSource / "examples/scenarios" / name));
}

TEST(SimulationTest, HoldsStatisticsOfAnotherPortalAgainstExpectations) {
  const Scenario scenario = exampleScenario("battery.json");
  portal::PortalOptions portal;
  portal.documents = scenario.portal.documents;
  const auto server = portal::PortalServer::start(portal);
  ASSERT_TRUE(server) << server.error().localizedDescription();
  SimulationOptions options;
  options.portalURL = (*server)->url();
  Timeline timeline;
  const SimulationResult result = simulate(scenario, options, timeline);
  EXPECT_EQ(result.outcomes.size(), scenario.expectations.size());
  EXPECT_TRUE(std::ranges::all_of(result.outcomes, &Expectations::Outcome::met));
}

TEST(SimulationTest, WaitsForSlowRepliesInVirtualTime) {
  using Kind = Scenario::Fault::Kind;
  const struct {
    Kind kind;
    double delay;
    const char *ends, *status;
  } cases[] = {{Kind::latency, 5, "5", "200"},
               {Kind::slow, 0.5, "7.5", "200"},
               {Kind::latency, 40, "30", "null"},
               {Kind::slow, 10, "60", "null"}};
  for (const auto& each : cases) {
    Scenario scenario = exampleScenario("demo.json");
    Scenario::Fault fault{.to = scenario.until, .path = "/contents", .kind = each.kind};
    fault.span = Seconds{each.delay};
    scenario.faults = {fault};
    std::vector<std::string> replies;
    Timeline timeline;
    timeline.listen([&](const TimelineEvent& event) {
      if (event.kind == TimelineKind::http) replies.push_back(timelineJson(event, scenario.start));
    });
    simulate(scenario, {}, timeline);
    ASSERT_FALSE(replies.empty());
    EXPECT_EQ(replies[0].find(std::string("{\"at\":") + each.ends + ","), 0U) << replies[0];
    EXPECT_NE(replies[0].find(std::string("\"status\":") + each.status), std::string::npos);
  }
}

TEST(SimulationTest, StaysDeadUntilTheLastRestartEnds) {
  Scenario scenario = exampleScenario("demo.json");
  const auto restart = [&scenario](double at, double downtime) {
    Scenario::Event& event = scenario.events.emplace_back();
    event.kind = Scenario::Event::Kind::restart;
    event.at = Seconds{at};
    event.downtime = Seconds{downtime};
  };
  restart(10, 20);
  restart(15, 50);
  scenario.until = Seconds{70};
  std::string told;
  Timeline timeline;
  timeline.listen([&told](const TimelineEvent& event) {
    if (event.kind != TimelineKind::application) return;
    if (event.text.starts_with("killed") || event.text.starts_with("launched")) {
      told += event.text + " " + timelineMoment(event.at) + "\n";
    }
  });
  simulate(scenario, {}, timeline);
  EXPECT_EQ(told,
            "launched 0:00:00.000\nkilled 0:00:10.000\nkilled again 0:00:15.000\n"
            "launched again 0:01:05.000\n");
}

TEST(CommandTest, AnswersWithItsExitCode) {
  const std::string demo = kSource / "examples/scenarios/demo.json";
  const test::TemporaryFolder scratch;
  const std::string bad = writeText(scratch / "bad.json", "{\"start\": 1}");
  std::string text = readText(demo);
  const std::string wanted = "{\"content\": \"coffee\", \"never\": true}";
  ASSERT_NE(text.find(wanted), std::string::npos);
  text.replace(text.find(wanted), wanted.size(), "{\"content\": \"coffee\"}");
  const std::string folder = "\"../portal\"";
  text.replace(text.find(folder), folder.size(), "\"" KS_SOURCE_DIR "/examples/portal\"");
  const std::string unmet = writeText(scratch / "unmet.json", text);
  text.replace(text.find("coffee\"}"), 8, "cofee\", \"never\": true}");
  const std::string misspelt = writeText(scratch / "misspelt.json", text);
  const struct {
    std::string arguments;
    int code;
    std::string end;
  } cases[] = {
      {"simulate " + demo + " --json", 0, "\"}\n"},
      {"simulate " + demo + " --repeat 3", 0, "content welcome fired in 3 of 3 walks\n"},
      {"simulate " + unmet + " --repeat 2", 1, "0 of 2 walks met all expectations\n"},
      {"simulate " + unmet, 1, "; it never happened\n"},
      {"simulate " + misspelt, 2,
       "expect[1].content: expected a content of the portal's documents, got \"cofee\"; did you "
       "mean "
       "\"coffee\"?\n"},
      {"simulate " + demo + " --portal http://127.0.0.1:9/app", 3, "the portal did not answer\n"},
      {"simulate " + demo + " --repeat 2 --vary noise --portal http://127.0.0.1:9/app", 3,
       "the portal did not answer\n"},
      {"simulate " + demo + " --portal ftp://x/app", 2, "see ksbeacon simulate --help\n"},
      {"simulate " + demo + " --state " + bad, 2, "expected a folder that can be written\n"},
      {"simulate " + demo + " --repeat 2 --state x", 2, "see ksbeacon simulate --help\n"},
      {"--version 2>&1 >/dev/full #", 1,
       "the output could not be written: No space left on device\n"},
      {"simulate " + bad, 2, bad + ":1: start: expected a text that is not empty, got 1\n"},
      {"simulate nowhere.json", 2, "expected a file; there is none of this name\n"},
      {"simulate " + demo + " --report nowhere/page.html", 2,
       "expected a file in a folder that can be written\n"},
      {"simulate " + demo + " --seed 0 --until 1", 0, "\n"},
      {"simulate " + demo + " --seed 18446744073709551616", 2,
       "--seed: expected a whole number from 0 to 1000000000000000, got 18446744073709551616; see "
       "ksbeacon simulate --help\n"},
      {"simulate " + demo + " --until nan", 2, "got nan; see ksbeacon simulate --help\n"},
      {"scan --for nan", 2,
       "--for: expected a number from 0.1 to 31622400, got nan; see ksbeacon scan --help\n"},
      {"simulate " + demo + " --jsno", 2,
       "--jsno; did you mean \"--json\"?; see ksbeacon simulate --help\n"},
      {"simulat " + demo, 2, "option simulat; did you mean \"simulate\"?; see ksbeacon --help\n"},
      {"foo", 2, "ksbeacon: there is no subcommand or option foo; see ksbeacon --help\n"},
      {"simulate", 2, "see ksbeacon simulate --help\n"},
      {"portal " + demo, 2, "expected a folder of portal documents\n"},
      {"portal " + std::string(kSource / "examples/portal") + " --fault often", 2,
       "got \"often\"\n"},
      {"portal " + std::string(kSource / "examples/portal") + " --fault drop@beacons", 2,
       "as in drop@/beacons\n"},
      {"portal " + std::string(kSource / "examples/portal") + " --address 192.0.2.1", 3,
       "Cannot assign requested address\n"},
      {"help simulate", 0, "changed or not\n"},
      {"help", 0, "Show help for the command or for a subcommand\n"},
  };
  for (const auto& each : cases) {
    const Output output = run(KS_COMMAND " " + each.arguments);
    EXPECT_EQ(output.code, each.code) << each.arguments << '\n' << output.text;
    EXPECT_TRUE(output.text.ends_with(each.end)) << each.arguments << '\n' << output.text;
  }
}

TEST(CommandTest, SaysThatThePortalRefusesTheUser) {
  const Output output =
      run(KS_COMMAND " simulate " + std::string(kSource / "examples/scenarios/unauthorized.json"));
  const std::string line = "the library did not start: the portal refuses user demo\n";
  EXPECT_EQ(output.code, 0);
  EXPECT_NE(output.text.find(line), std::string::npos) << output.text;
  EXPECT_EQ(output.text.find(line), output.text.rfind(line)) << "it started after the restart";
}

TEST(HostTest, StandsInTheReadmeAndRuns) {
  const std::string readme = readText(kSource / "README.md");
  const std::string source = readText(kSource / "examples/host/main.cpp");
  EXPECT_NE(readme.find("```cpp\n" + source + "```"), std::string::npos);

  portal::PortalOptions options;
  options.documents = kSource / "examples/portal";
  options.username = "demo";
  options.password = "demo";
  const auto server = portal::PortalServer::start(options);
  ASSERT_TRUE(server) << server.error().localizedDescription();
  const Output output = run(KS_HOST " " + (*server)->url());
  EXPECT_EQ(output.code, 0);
  EXPECT_EQ(output.text, "running\nTurn left for the entrance.\nThe museum is open until six.\n");
}

}  // namespace
}  // namespace ks::tool
