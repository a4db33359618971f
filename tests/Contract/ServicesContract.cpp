#include <gmock/gmock.h>

#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tests/Contract/PlatformContract.h"

namespace ks::test {

using testing::ElementsAre;

namespace {

struct Sender : Object {};

}  // namespace

TEST_P(NotificationCenterContract, CallsObserversInOrderOfAdding) {
  NSNotificationCenter& center = platform().notificationCenter();
  const auto sender = std::make_shared<Sender>();
  std::vector<std::string> seen;
  const auto record = [&seen](const char* who) {
    return [&seen, who](const NSNotification&) { seen.emplace_back(who); };
  };
  const auto first = center.addObserver("event", record("first"));
  const auto picky = center.addObserver("event", record("picky"), sender);
  auto ended = center.addObserver("event", record("ended"));
  const auto other = center.addObserver("other", record("other"));
  ended.end();
  center.post({"event", nullptr, {}});
  center.post({"event", sender, {}});
  EXPECT_THAT(seen, ElementsAre("first", "first", "picky"));
}

TEST_P(NotificationCenterContract, ObserversMayEndWhileDelivering) {
  NSNotificationCenter& center = platform().notificationCenter();
  int calls = 0;
  NSNotificationCenter::Observation second;
  const auto first = center.addObserver("event", [&](const NSNotification&) { second.end(); });
  second = center.addObserver("event", [&](const NSNotification&) { ++calls; });
  center.post({"event", nullptr, {}});
  EXPECT_EQ(calls, 0);
}

TEST_P(UserDefaultsContract, KeepsValuesOverARestart) {
  const std::vector<std::pair<std::string, Value>> entries = {
      {"date", Value(dateFromSecondsSince1970(1767254400.25))},
      {"flag", true},
      {"count", -7},
      {"huge", UINT64_MAX},
      {"share", 0.1},
      {"text", "Caffè\n100% \"pieno\""},
      {"data", Data{0, 255, 10}},
      {"list", Array{1, "two", Value(Dictionary{{"three", 3}})}},
  };
  for (const auto& [key, value] : entries) platform().userDefaults().setObject(key, value);
  platform().userDefaults().setObject("gone", 1);
  platform().userDefaults().setObject("gone", Value());
  EXPECT_TRUE(platform().userDefaults().synchronize());
  restart();
  for (const auto& [key, value] : entries) {
    EXPECT_EQ(platform().userDefaults().objectForKey(key), value) << key;
  }
  EXPECT_TRUE(platform().userDefaults().objectForKey("gone").isAbsent());
}

TEST_P(ApplicationContract, NamesEachBackgroundTask) {
  UIApplication& application = platform().application();
  const auto first = application.beginBackgroundTask({});
  const auto second = application.beginBackgroundTask([] {});
  EXPECT_NE(first, UIBackgroundTaskInvalid);
  EXPECT_NE(first, second);
  application.endBackgroundTask(UIBackgroundTaskInvalid);
  application.endBackgroundTask(first);
  application.endBackgroundTask(first);
  application.endBackgroundTask(second);
}

TEST_P(UserNotificationCenterContract, CompletesOnceOnTheMainQueue) {
  UNUserNotificationCenter* center = platform().userNotificationCenter();
  if (center == nullptr) GTEST_SKIP() << "no notification centre here";
  const auto file = platform().directories().temporary / "icon.png";
  std::ofstream(file) << "icon";
  UNNotificationRequest request;
  request.identifier = "request";
  request.content.body = "Welcome";
  request.content.attachments = {{"icon", file, std::nullopt}};
  request.trigger.timeInterval = Seconds{5};
  UNNotificationRequest broken = request;
  broken.content.attachments[0].file = "/nowhere/icon.png";

  std::vector<bool> failures;
  const auto completion = [&](const std::optional<Error>& error) {
    EXPECT_TRUE(platform().mainQueue().isCurrent());
    failures.push_back(error.has_value());
  };
  center->addNotificationRequest(request, completion);
  center->addNotificationRequest(broken, completion);
  EXPECT_TRUE(failures.empty()) << "never inside the call";
  runFor(Seconds{0.1});
  EXPECT_THAT(failures, ElementsAre(false, true));
}

}  // namespace ks::test
