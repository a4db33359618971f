#include <signal.h>
#include <sys/stat.h>

#include "tests/Linux/NotificationFixture.h"

namespace ks::test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

constexpr const char* kAll = R"({"capabilities": ["body", "body-markup", "actions"]})";
constexpr std::int64_t kNotAllowed = static_cast<std::int64_t>(UNError::notificationsNotAllowed);

class LinuxNotificationTest : public NotificationFixture {};

}  // namespace

TEST(NotificationTextTest, BringsAnyBytesIntoShape) {
  struct {
    std::string text;
    std::size_t limit;
    bool isMarkup;
    std::string shown;
  } const cases[] = {
      {"Caffè & <b>tè</b>", 100, true, "Caffè &amp; &lt;b&gt;tè&lt;/b&gt;"},
      {"Caffè & <b>", 100, false, "Caffè & <b>"},
      {"two\nlines\tand\x1B[31m bell\a", 100, false, "two\nlines\tand [31m bell "},
      {std::string("a\0b", 3), 100, false, "a�b"},
      {"\xC3\x28\xFF", 100, false, "�(�"},
      {"exactly ten", 10, false, "exactly…"},
      {"ààààààà", 10, false, "ààà…"},
      {"aàààààà", 10, false, "aààà…"},
      {"", 100, true, ""},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(desktopText(each.text, each.limit, each.isMarkup), each.shown);
  }
}

TEST_F(LinuxNotificationTest, SaysWhatTheServiceUnderstands) {
  auto welcome = request("welcome", "5 < 6 & 7");
  welcome.content.title = "Hall 3";
  welcome.content.defaultSound = true;
  start(kAll);
  EXPECT_EQ(add(welcome), 0);
  ASSERT_TRUE(waitForShown({"5 < 6 & 7"}));
  EXPECT_THAT(
      calls("Notify"),
      ElementsAre("[<'kiosk'>, <uint32 0>, <''>, <'Hall 3'>, <'5 &lt; 6 &amp; 7'>, "
                  "<['default', 'Open']>, <{'desktop-entry': <'com.acme.kiosk'>, "
                  "'urgency': <byte 0x01>, 'sound-name': <'message-new-instant'>}>, <-1>]"));
  start(R"({"capabilities": ["body"]})");
  EXPECT_EQ(add(request("plain", "5 < 6 & 7")), 0);
  ASSERT_TRUE(waitForShown({"5 < 6 & 7"}));
  EXPECT_THAT(calls("Notify"), ElementsAre(HasSubstr("<'kiosk'>, <'5 < 6 & 7'>, <@as []>")));
  start("{}");
  EXPECT_EQ(add(welcome), 0);
  ASSERT_TRUE(waitForShown({"5 < 6 & 7"}));
  EXPECT_THAT(calls("Notify"), ElementsAre(HasSubstr("<''>, <'5 < 6 & 7'>, <''>, <@as []>")));
}

TEST_F(LinuxNotificationTest, KeepsPicturesWhileTheyAreShown) {
  start(kAll);
  const std::string kIcon = "\x89PNG\r\n\x1A\n...";
  const std::string kMedia = "\xFF\xD8\xFF\xE0...";
  const auto icon = file("icon %.png", kIcon);
  const auto media = file("media", kMedia);
  auto both = request("both", "both");
  both.content.attachments = {{"icon", icon, std::nullopt}, {"media", media, true}};
  auto one = request("one", "one");
  one.content.attachments = {{"film", file("film", "....ftypmp42"), std::nullopt},
                             {"drawing", file("drawing", "<svg/>"), std::nullopt},
                             {"torn", file("torn", "RIFF"), std::nullopt},
                             {"media", media, true}};
  EXPECT_EQ(add(both), 0);
  EXPECT_EQ(add(one), 0);
  std::filesystem::remove(icon);
  std::filesystem::remove(media);
  ASSERT_TRUE(waitForShown({"both", "one"}));
  EXPECT_THAT(calls("Notify"),
              ElementsAre(AllOf(HasSubstr("<'~1'>"), HasSubstr("'image-path': <'~2'>")),
                          AllOf(HasSubstr("<'~3'>"), HasSubstr("'image-path': <'~3'>"))));
  EXPECT_THAT(keptPictures(), UnorderedElementsAre(kIcon, kMedia, kMedia));
  center_->removeDeliveredNotifications({"both"});
  EXPECT_THAT(keptPictures(), ElementsAre(kMedia));
  EXPECT_EQ(add(request("one", "without")), 0);
  ASSERT_TRUE(waitForShown({"without"}));
  EXPECT_THAT(keptPictures(), IsEmpty());
}

TEST_F(LinuxNotificationTest, RefusesWhatItCannotTake) {
  start(kAll);
  mkfifo((folder_.path() / "pipe").c_str(), 0600);
  std::filesystem::resize_file(file("huge", "GIF89a"),
                               NotificationPictureStore::kLargestPicture + 1);
  file("notifications", "in the way");
  file("fine", "GIF89a");
  const struct {
    const char* name;
    UNError error;
  } cases[] = {{"missing", UNError::attachmentInvalidURL},
               {"pipe", UNError::attachmentInvalidURL},
               {"huge", UNError::attachmentInvalidFileSize},
               {"fine", UNError::attachmentMoveIntoDataStoreFailed}};
  for (const auto& each : cases) {
    auto wrong = request("wrong", "wrong");
    wrong.content.attachments = {{"icon", folder_.path() / each.name, std::nullopt}};
    EXPECT_EQ(add(wrong), static_cast<std::int64_t>(each.error)) << each.name;
  }
  auto never = request("never", "never");
  never.trigger.timeInterval = Seconds{0};
  EXPECT_EQ(add(never), static_cast<std::int64_t>(UNError::notificationInvalidNoDate));
  never.trigger = {Seconds{59}, true};
  EXPECT_EQ(add(never), static_cast<std::int64_t>(UNError::notificationInvalidNoDate));
  EXPECT_THAT(center_->pendingNotificationRequests(), IsEmpty());
  never.trigger = {Seconds{59}, false};
  for (std::size_t i = 0; i < DesktopNotificationCenter::kMostPending; ++i) {
    never.identifier = std::to_string(i);
    EXPECT_EQ(add(never), 0);
  }
  EXPECT_EQ(add(request("full", "full")), kNotAllowed);
}

TEST_F(LinuxNotificationTest, ReplacesAndTakesBackByIdentifier) {
  start(kAll);
  auto late = request("zone", "never");
  late.trigger.timeInterval = Seconds{5};
  EXPECT_EQ(add(late), 0);
  EXPECT_THAT(center_->pendingNotificationRequests(), SizeIs(1));
  EXPECT_EQ(add(request("zone", "first")), 0);
  EXPECT_EQ(add(request("other", "other")), 0);
  ASSERT_TRUE(waitForShown({"first", "other"}));
  EXPECT_EQ(add(request("zone", "second")), 0);
  EXPECT_EQ(add(request("gone", "gone")), 0);
  center_->removePendingNotificationRequests({"gone", "unknown"});
  ASSERT_TRUE(waitForShown({"other", "second"}));
  EXPECT_THAT(calls("Notify"), ElementsAre(HasSubstr("<uint32 0>"), HasSubstr("<uint32 0>"),
                                           HasSubstr("<uint32 1>")));
  center_->present({Seconds{0}, "on its way", false, {}});
  center_->removeDeliveredNotifications({"zone", "localNotification1"});
  EXPECT_TRUE(runLoopUntil([&] { return calls("CloseNotification").size() == 2; }));
  EXPECT_THAT(calls("CloseNotification"), ElementsAre("[<uint32 1>]", "[<uint32 3>]"));
  EXPECT_THAT(shown(), ElementsAre("other"));
  EXPECT_THAT(center_->pendingNotificationRequests(), IsEmpty());
}

TEST_F(LinuxNotificationTest, TellsWhatTheUserOpens) {
  std::vector<std::string> opened;
  start(kAll);
  center_->setResponseHandler([&](const UNNotificationResponse& response) {
    opened.push_back(*response.request.content.userInfo["beaconIdentifier"].string() + " " +
                     response.activationToken);
  });
  for (const char* each : {"closed", "one", "two"}) EXPECT_EQ(add(request(each, each)), 0);
  ASSERT_TRUE(waitForShown({"closed", "one", "two"}));
  emitAction(2, "settings");
  emit("ActivationToken", "us", g_variant_new_parsed("[<uint32 2>, <'token'>]"));
  emitAction(2, "default");
  emitAction(2, "default");
  const auto flooded = ask(kName, "Flood", g_variant_new("(u)", 5000));
  EXPECT_TRUE(waitForShown({"two"}));
  emitAction(3, "default");
  EXPECT_TRUE(waitForShown({}));
  EXPECT_THAT(opened, ElementsAre("one token", "two "));
}

TEST_F(LinuxNotificationTest, WaitsForAServiceThatIsAway) {
  makeCenter();
  ASSERT_TRUE(becomes("no notification service"));
  EXPECT_EQ(center_->state().mend, "apt install dunst");
  EXPECT_EQ(add(request("refused", "refused")), kNotAllowed);
  EXPECT_EQ(add(request("refused", "refused")), kNotAllowed);
  EXPECT_THAT(console_.lines, ElementsAre(HasSubstr("no notification service")));
  start(kAll);
  EXPECT_EQ(add(request("before", "before")), 0);
  ASSERT_TRUE(waitForShown({"before"}));
  auto soon = request("soon", "soon");
  soon.trigger.timeInterval = Seconds{0.2};
  EXPECT_EQ(add(soon), 0);
  soon.identifier = "late";
  EXPECT_EQ(add(soon), 0);
  service_.end();
  EXPECT_TRUE(waitForShown({})) << "it took with it what it showed";
  runLoopFor(Seconds{0.3});
  EXPECT_THAT(center_->pendingNotificationRequests(), SizeIs(2));
  center_->removePendingNotificationRequests({"late"});
  start(kAll);
  EXPECT_TRUE(waitForShown({"soon"}));

  EXPECT_EQ(add(soon), 0);
  bus_.stop();
  EXPECT_TRUE(becomes("no session bus"));
  runLoopFor(Seconds{0.3});
  clock_.moved = DesktopNotificationCenter::kLongestDelay;
  bus_.start();
  start(kAll);
  EXPECT_THAT(center_->pendingNotificationRequests(), IsEmpty());
  EXPECT_EQ(add(request("after", "after")), 0);
  EXPECT_TRUE(waitForShown({"after"}));
}

TEST_F(LinuxNotificationTest, OutlivesServicesThatMisbehave) {
  for (const char* fault : {"types", "refuse"}) {
    console_.lines.clear();
    start(R"({"fault": ")" + std::string(fault) + "\"}",
          fault == std::string("types") ? "does not say" : "shown by Stand-in");
    for (const char* each : {"one", "two"}) EXPECT_EQ(add(request(each, each)), 0);
    EXPECT_TRUE(runLoopUntil([&] { return center_->pendingNotificationRequests().empty(); }));
    EXPECT_FALSE(center_->state().usable);
    EXPECT_NE(center_->state().mend, "");
    EXPECT_THAT(console_.lines, SizeIs(1)) << fault;
    start(kAll);
    EXPECT_EQ(add(request("fine", "fine")), 0);
    EXPECT_TRUE(waitForShown({"fine"}));
  }
}

TEST_F(LinuxNotificationTest, RecoversFromAServiceThatHangs) {
  start(kAll);
  service_.signal(SIGSTOP);
  EXPECT_EQ(add(request("maybe", "maybe")), 0);
  ASSERT_TRUE(becomes("does not answer"));
  EXPECT_THAT(center_->pendingNotificationRequests(), IsEmpty()) << "it must not show twice";
  service_.signal(SIGCONT);
  EXPECT_EQ(add(request("again", "again")), 0);
  EXPECT_TRUE(waitForShown({"again"}));
  EXPECT_TRUE(center_->state().usable);
  EXPECT_THAT(console_.lines, SizeIs(1));
}

TEST_F(LinuxNotificationTest, StartsTheServiceOnDemand) {
  bus_.offer(kName, "/usr/bin/python3 -m dbusmock --session --template " +
                        script("notifications.py").string());
  makeCenter();
  ASSERT_TRUE(becomes("the first notification starts"));
  EXPECT_TRUE(center_->state().usable);
  EXPECT_EQ(add(request("starts", "starts")), 0);
  EXPECT_TRUE(waitForShown({"starts"}));
  EXPECT_TRUE(becomes("shown by Stand-in 1.0, which cannot open them"));
}

}  // namespace ks::test
