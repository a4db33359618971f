#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <boost/json.hpp>
#include <cstdlib>
#include <mutex>
#include <set>
#include <sstream>
#include <string>

#include "tests/Support/WalkFixture.h"

namespace ks::tool {
namespace {

using test::runCommand;
using test::runLoopUntil;
using Facts = std::multiset<std::string>;

const std::string kScenario = KS_SOURCE_DIR "/examples/scenarios/demo.json";

std::string member(const boost::json::object& object, const char* name) {
  const auto* const value = object.if_contains(name);
  return value != nullptr && value->is_string() ? std::string(value->as_string()) : "";
}

std::string statisticFact(const std::string& event, const boost::json::object& body) {
  return "statistic " + event + " " + member(body, "beaconId") + member(body, "geofenceId");
}

/// What counts of a timeline: what fired, was announced and refused, and what the portal was told.
/// Refusals may repeat with every ranging result, so each counts once.
Facts factsIn(const std::string& timeline) {
  Facts facts;
  std::set<std::string> refusals;
  std::istringstream lines(timeline);
  for (std::string line; std::getline(lines, line);) {
    boost::json::error_code ec;
    const auto parsed = boost::json::parse(line, ec);
    if (ec || !parsed.is_object()) continue;
    const auto& event = parsed.as_object();
    const std::string kind = member(event, "kind");
    const std::string about = kind + " " + member(event, "content") + " " + member(event, "zone");
    if (kind == "trigger") facts.insert(about + " " + member(event, "event"));
    if (kind == "notification") facts.insert(about + " " + member(event, "action"));
    if (kind == "refusal") refusals.insert(about + " " + member(event, "rule"));
    if (kind == "statistic" && event.contains("body")) {
      facts.insert(statisticFact(member(event, "event"), event.at("body").as_object()));
    }
  }
  facts.insert(refusals.begin(), refusals.end());
  return facts;
}

/// What is expected of the walk, and what came of it.
class WalkTest : public WalkFixture {
 protected:
  // The portal tells it of statistics.
  ~WalkTest() override { portal_.reset(); }
  void startPortal() {
    auto options = portalOptions();
    options.onStatistic = [this](const portal::PortalStatistic& statistic) {
      const std::scoped_lock guard(mutex_);
      told_.insert(statisticFact(statistic.zoneKind + "/" + statistic.event,
                                 boost::json::parse(statistic.body).as_object()));
    };
    WalkFixture::startPortal(options);
  }
  void startDesktop() {
    desktop_ = test::ChildProcess({"/usr/bin/python3", "-m", "dbusmock", "--session", "--template",
                                   KS_TEST_FOLDER "/notifications.py"});
    ASSERT_TRUE(test::run(
        {"gdbus", "wait", "--session", "org.freedesktop.Notifications", "--timeout", "60"}));
  }
  std::filesystem::path heard() const { return folder_.path() / "heard"; }
  /// The user clicks the notification that was shown last.
  static bool openNotification(unsigned number) {
    return test::run({"gdbus", "call", "--session", "-d", "org.freedesktop.Notifications", "-o",
                      "/org/freedesktop/Notifications", "-m",
                      "org.freedesktop.DBus.Mock.EmitSignal", "", "ActionInvoked", "us",
                      "[<uint32 " + std::to_string(number) + ">, <'default'>]"});
  }
  Facts told() {
    const std::scoped_lock guard(mutex_);
    return told_;
  }

  test::ChildProcess desktop_;
  std::mutex mutex_;
  Facts told_;
};

TEST_F(WalkTest, EndsInTheSimulationsTriggers) {
  // The whole walk takes six minutes; its last steps to the entrance take some seconds.
  const bool whole = std::getenv("KS_WHOLE_WALK") != nullptr;
  startPortal();
  startRadio();
  startPositions();
  startDesktop();
  const Facts expected = factsIn(runCommand(KS_COMMAND " simulate --json " + kScenario).output);
  test::BackgroundCommand run(command("#!/bin/sh\ncat >>" + heard().string() + "\n"));
  ASSERT_TRUE(run.writes("the library runs")) << run.errors();
  const std::string welcome = R"("kind":"trigger","content":"welcome","zone":"b-entrance")";
  const auto isDone = [&](Seconds moment) {
    if (whole && moment == Seconds{150}) {
      EXPECT_TRUE(openNotification(1));
    }
    return !whole && run.output().find(welcome) != std::string::npos;
  };
  EXPECT_EQ(walk(Seconds{whole ? 0.0 : 105.0}, Seconds{whole ? 360.0 : 160.0}, isDone), !whole);
  const std::string entered = "statistic beacons/enter b-entrance";
  EXPECT_TRUE(runLoopUntil([&] { return told().contains(entered); }));
  EXPECT_TRUE(run.writes(R"("action":"shown","zone":"b-entrance")"));
  const std::string message = R"("message":"The museum is open until six.")";
  EXPECT_TRUE(runLoopUntil(
      [&] { return test::readText(heard()).find(message) != std::string::npos; }, Seconds{30}));
  run.signal(SIGTERM);
  EXPECT_EQ(run.wait(Seconds{2}), 0);
  const Facts facts = factsIn(run.output());
  if (whole) {
    EXPECT_EQ(facts, expected);
  } else {
    EXPECT_THAT(expected, testing::IsSupersetOf(facts));
  }
  if (HasFailure()) std::printf("%s\n%s\n", run.output().c_str(), run.errors().c_str());
}

/// The lines from their dates on: a replay of several processes counts all from the first one's
/// beginning.
std::vector<std::string> datedLines(const std::string& timeline) {
  std::vector<std::string> lines;
  std::istringstream text(timeline);
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line.substr(std::min(line.find("\"date\""), line.size())));
  }
  return lines;
}

TEST_F(WalkTest, HappensAgainInItsReplay) {
  startPortal();
  startRadio();
  startPositions();
  const auto recording = folder_.path() / "day.ksrec";
  const std::string recorded =
      command("#!/bin/sh\ncat >/dev/null\n") + " --keep 24h --record " + recording.string();
  test::BackgroundCommand first(recorded);
  ASSERT_TRUE(first.writes("the library runs")) << first.errors();
  const auto fires = [&](Seconds) { return first.output().find("trigger") != std::string::npos; };
  EXPECT_TRUE(walk(Seconds{105}, Seconds{160}, fires));
  portal_->addFault({.kind = portal::FaultKind::status, .status = 503, .path = ""});
  first.signal(SIGHUP);
  EXPECT_TRUE(first.writes("\"status\":503"));
  portal_->clearFaults();
  air_.setPowered(false);
  EXPECT_TRUE(first.writes("Bluetooth cannot be used"));
  const auto size = std::filesystem::file_size(recording);
  EXPECT_TRUE(runLoopUntil([&] { return std::filesystem::file_size(recording) > size; }));
  first.signal(SIGKILL);
  first.wait();
  air_.setPowered(true);
  test::BackgroundCommand second(recorded);
  EXPECT_TRUE(second.writes("the library runs")) << second.errors();
  walk(Seconds{115}, Seconds{120}, [](Seconds) { return false; });
  second.signal(SIGTERM);
  EXPECT_EQ(second.wait(), 0);

  const auto replay = runCommand(KS_COMMAND " replay --json " + recording.string());
  EXPECT_EQ(replay.code, 0) << replay.errors;
  const auto replayed = datedLines(replay.output);
  auto lived = datedLines(first.output());
  const auto after = datedLines(second.output());
  ASSERT_GT(replayed.size(), after.size());
  // The kill took what was not yet written.
  const std::size_t kept = replayed.size() - after.size();
  ASSERT_LE(kept, lived.size());
  lived.resize(kept);
  lived.insert(lived.end(), after.begin(), after.end());
  EXPECT_EQ(replayed, lived);
}

}  // namespace
}  // namespace ks::tool
