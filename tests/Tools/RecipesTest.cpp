#include <gmock/gmock.h>
#include <signal.h>

#include <boost/json.hpp>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/Http/LoopbackServer.h"
#include "tests/Linux/VirtualScreen.h"
#include "tests/Support/WalkFixture.h"

namespace ks::tool {
namespace {

using test::runLoopUntil;
using testing::HasSubstr;

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  const auto at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return at == std::string::npos ? text : text.replace(at, what.size(), with);
}

/// The blocks of a recipe, as a reader copies them out of the page.
std::vector<std::string> recipe(const std::string& name) {
  std::istringstream page(test::readText(KS_SOURCE_DIR "/docs/linux.md"));
  std::vector<std::string> blocks;
  bool isRecipe = false;
  bool isBlock = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("**") || line.starts_with("#")) {
      isRecipe = isBlock ? isRecipe : line.starts_with("**" + name);
    }
    if (!isRecipe) continue;
    if (line == "```") {
      isBlock = !isBlock;
      if (isBlock) blocks.emplace_back();
    } else if (isBlock) {
      blocks.back() += line + "\n";
    }
  }
  return blocks;
}

/// The recipes as they stand in the page, against a broker, a receiver of webhooks and a browser;
/// only addresses, and what a browser needs in a test, are put in their place.
class RecipesTest : public WalkFixture {
 protected:
  ~RecipesTest() override { endBrowser(); }

  std::string webhook() const {
    return program("webhook", replaced(recipe("A webhook.").at(0),
                                       "https://hooks.example.com/beacons", web_.url("/beacons")));
  }
  std::string publisher() const {
    return program("publisher", replaced(recipe("MQTT").at(0), "broker.example.com", broker_));
  }
  void startBroker() {
    const std::string port = std::to_string(test::freePort());
    broker_ = "127.0.0.1:" + port;
    mosquitto_ = test::ChildProcess({"mosquitto", "-p", port});
    subscriber_.emplace("sh -c 'until mosquitto_sub -L mqtt://" + broker_ +
                        "/# -F %j; do sleep 0.1; done'");
  }
  /// The user's desktop, whose browser opens pages in full screen.
  void setUpKiosk() const {
    const auto home = folder_.path() / "home";
    setenv("XDG_CONFIG_HOME", (home / "config").c_str(), 1);
    setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
    std::filesystem::create_directories(home / "config");
    const auto blocks = recipe("A kiosk.");
    test::writeText(
        home / "data/applications/kiosk.desktop",
        replaced(blocks.at(0), "--kiosk",
                 "--kiosk --no-sandbox --disable-gpu --user-data-dir=" + profile().string()));
    ASSERT_TRUE(test::run({"sh", "-c", blocks.at(1)}));
  }
  std::filesystem::path profile() const { return folder_.path() / "profile"; }
  void endBrowser() const {
    std::error_code error;
    // "HOST-PROCESS"
    const std::string lock = std::filesystem::read_symlink(profile() / "SingletonLock", error);
    if (error) return;
    const pid_t browser = std::stoi(lock.substr(lock.rfind('-') + 1));
    kill(browser, SIGTERM);
    runLoopUntil([&] { return kill(browser, 0) != 0; });
  }
  /// The demo's documents, where the content of the square is a page.
  std::filesystem::path documents() const {
    const auto folder = folder_.path() / "portal";
    std::filesystem::copy(scenario_.portal.documents, folder);
    const auto file = folder / "geofences.json";
    const std::string page = R"("type": "HTML", "pageUrl": ")" + web_.url("/page") + "\"";
    test::writeText(file, replaced(test::readText(file), R"("type": "PUSH_TEXT")", page));
    return folder;
  }
  /// The last message of a topic that begins so, as JSON; null before the first.
  boost::json::value published(const std::string& topic) const {
    std::istringstream lines(subscriber_->output());
    boost::json::value last;
    for (std::string line; std::getline(lines, line);) {
      const auto message = boost::json::parse(line).as_object();
      if (!message.at("topic").as_string().starts_with(topic)) continue;
      last = boost::json::parse(message.at("payload").as_string());
    }
    return last;
  }

  test::LoopbackServer web_{[](const test::RawRequest& request) -> test::RawReply {
    const std::string page =
        "<body style='background:#00b050'><h1>Turn left for the entrance.</h1>";
    const bool isPage = request.target == "/page";
    return {test::httpReply(isPage ? page : "", isPage ? "Content-Type: text/html\r\n" : "")};
  }};
  std::string broker_;
  test::ChildProcess mosquitto_;
  std::optional<test::BackgroundCommand> subscriber_;
};

TEST_F(RecipesTest, ReachBrokerWebhookAndBrowser) {
  if (!test::VirtualScreen::reasonNotTo().empty()) GTEST_SKIP() << "no Xvfb here";
  const test::VirtualScreen screen;
  setUpKiosk();
  startBroker();
  auto options = portalOptions();
  options.documents = documents();
  startPortal(options);
  startPositions();
  receiver_.follow({{45.07, 7.686}});
  const test::BackgroundCommand run(command("#!/bin/sh\nevent=$(cat)\nfor each in " + publisher() +
                                            " " + webhook() +
                                            "; do echo \"$event\" | $each; done\n") +
                                    " --no-notifications --open");
  constexpr std::size_t kMostOfTheScreen = 200'000;
  constexpr std::uint32_t kGreen = 0x00B050;
  constexpr Seconds kPatience{180};
  EXPECT_TRUE(runLoopUntil([&] { return screen.count(kGreen) > kMostOfTheScreen; }, kPatience));
  screen.keep("kiosk");
  const std::string message = R"("message":"Turn left for the entrance.")";
  EXPECT_TRUE(runLoopUntil([&] {
    return std::ranges::any_of(web_.requests(), [&](const test::RawRequest& request) {
      return request.target == "/beacons" && request.body.find(message) != std::string::npos;
    });
  }));
  ASSERT_TRUE(runLoopUntil([&] { return published("ksbeacon/").is_object(); }));
  const auto sensor = published("homeassistant/sensor/").as_object();
  const auto event = published(std::string(sensor.at("state_topic").as_string()));
  EXPECT_EQ(event.at("shows").at("title"), "Museum square") << "what the sensor's template takes";
  EXPECT_EQ(sensor.at("json_attributes_topic"), sensor.at("state_topic"));
  if (HasFailure()) std::printf("%s\n%s\n", run.output().c_str(), run.errors().c_str());
}

}  // namespace
}  // namespace ks::tool
