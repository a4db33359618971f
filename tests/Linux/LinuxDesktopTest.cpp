#include "tests/Linux/NotificationFixture.h"
#include "tests/Linux/VirtualScreen.h"

namespace ks::test {

using testing::ElementsAre;

namespace {

constexpr std::uint32_t kMagenta = 0xFF00C8;
constexpr std::uint32_t kGreen = 0x00B050;

bool shell(const std::string& command) { return run({"sh", "-c", command}); }

/// A real notification service on a screen.
class LinuxDesktopTest : public NotificationFixture {
 protected:
  void SetUp() override {
    if (!VirtualScreen::reasonNotTo().empty()) GTEST_SKIP() << VirtualScreen::reasonNotTo();
    if (!shell("command -v dunst")) GTEST_SKIP() << "no dunst here";
    screen_ = std::make_unique<VirtualScreen>();
    ASSERT_TRUE(screen_->isRunning());
    makeCenter();
    startDunst();
  }
  void startDunst() {
    const auto settings =
        file("dunstrc", "[global]\nfont = Sans 12\nwidth = 400\nmax_icon_size = 64\n");
    service_ = ChildProcess({"dunst", "-conf", settings.string()});
    ASSERT_TRUE(becomes("shown by dunst")) << center_->state().detail;
  }

  std::unique_ptr<VirtualScreen> screen_;
};

}  // namespace

TEST_F(LinuxDesktopTest, DrawsReplacesAndOpens) {
  constexpr std::size_t kMostOfThePicture = 3000;
  std::vector<std::string> opened;
  center_->setResponseHandler([&](const UNNotificationResponse& response) {
    opened.push_back(response.request.content.body);
  });
  auto welcome = request("welcome", "Caffè & tè\n<b>10 %</b> < 20 %");
  welcome.content.title = "Hall 3";
  welcome.content.attachments = {{"icon", file("icon", plainPicture(kMagenta)), std::nullopt}};
  EXPECT_EQ(add(welcome), 0);
  EXPECT_TRUE(runLoopUntil([&] { return screen_->count(kMagenta) > kMostOfThePicture; }));
  screen_->keep("notification-icon");

  welcome.content.body = "Second";
  welcome.content.attachments.push_back({"media", file("media", plainPicture(kGreen)), true});
  EXPECT_EQ(add(welcome), 0);
  EXPECT_TRUE(runLoopUntil([&] { return screen_->count(kGreen) > kMostOfThePicture; }));
  screen_->keep("notification-media");
  EXPECT_EQ(screen_->count(kMagenta), 0U) << "one takes the place of the other";
  EXPECT_TRUE(shell("test $(dunstctl count displayed) = 1"));

  EXPECT_TRUE(shell("dunstctl action"));
  EXPECT_TRUE(runLoopUntil([&] { return opened.size() == 1; }));
  EXPECT_THAT(opened, ElementsAre("Second"));
  EXPECT_TRUE(runLoopUntil([&] { return screen_->count(kGreen) == 0; }))
      << "long before its own time";
}

TEST_F(LinuxDesktopTest, FollowsWhatTheUserClosesAndRestarts) {
  for (const char* each : {"closed", "removed", "lost"}) EXPECT_EQ(add(request(each, each)), 0);
  ASSERT_TRUE(waitForShown({"closed", "removed", "lost"}));
  EXPECT_TRUE(shell("dunstctl close"));
  EXPECT_TRUE(runLoopUntil([&] { return shown().size() == 2; }));
  center_->removeDeliveredNotifications({"removed", "closed"});
  EXPECT_TRUE(runLoopUntil([] { return shell("test $(dunstctl count displayed) = 1"); }));
  service_.end();
  ASSERT_TRUE(becomes("no notification service"));
  startDunst();
  EXPECT_TRUE(waitForShown({}));
  EXPECT_EQ(add(request("after", "after")), 0);
  EXPECT_TRUE(waitForShown({"after"}));
}

}  // namespace ks::test
