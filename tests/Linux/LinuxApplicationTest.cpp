#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char* kName = "org.freedesktop.login1";
constexpr const char* kSession = "/org/freedesktop/login1/session/c7";

/// An application on a private bus with a stand-in of the login service.
class LinuxApplicationTest : public testing::Test {
 protected:
  LinuxApplicationTest() {
    setenv("XDG_SESSION_ID", "c7", 1);
    application_ = std::make_unique<LinuxApplication>(clock_, queue_, center_, console_, "kiosk");
  }

  static bool call(const std::string& path, const std::string& method,
                   std::vector<std::string> arguments = {}) {
    std::vector<std::string> command = {"gdbus", "call", "--system", "-d",  kName,
                                        "-o",    path,   "-m",       method};
    std::move(arguments.begin(), arguments.end(), std::back_inserter(command));
    return run(command);
  }

  void startLogin() {
    login_ =
        ChildProcess({"/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "logind"});
    ASSERT_TRUE(run({"gdbus", "wait", "--system", kName, "--timeout", "60"}));
    ASSERT_TRUE(call("/org/freedesktop/login1", "org.freedesktop.DBus.Mock.AddSession",
                     {"c7", "seat0", "1000", "user", "true"}));
  }
  void waitForLogin() {
    ASSERT_TRUE(runLoopUntil([&] { return application_->state().usable; }));
    ASSERT_TRUE(runLoopUntil(
        [&] { return application_->state().detail.find("unlocked") != std::string::npos; }));
  }
  static void sleepBegins(bool begins) {
    ASSERT_TRUE(call("/org/freedesktop/login1", "org.freedesktop.DBus.Mock.EmitSignal",
                     {"org.freedesktop.login1.Manager", "PrepareForSleep", "b",
                      begins ? "[<true>]" : "[<false>]"}));
  }
  bool becomes(bool active) {
    return runLoopUntil([&] { return application_->isActive() == active; });
  }
  static bool isInhibited() {
    return run({"sh", "-c",
                "gdbus call --system -d org.freedesktop.login1 -o /org/freedesktop/login1 "
                "-m org.freedesktop.login1.Manager.ListInhibitors | grep -q \"'kiosk'.*'block'\""});
  }

  PrivateBus bus_;
  SystemClock clock_;
  MainQueue queue_;
  NSNotificationCenter center_;
  RecordingConsole console_;
  ChildProcess login_;
  std::unique_ptr<LinuxApplication> application_;
};

}  // namespace

TEST_F(LinuxApplicationTest, FollowsHostLockAndSleep) {
  startLogin();
  waitForLogin();
  std::vector<std::string> events;
  const auto active = center_.addObserver(UIApplicationDidBecomeActiveNotification,
                                          [&](const auto&) { events.emplace_back("active"); });
  const auto resigns = center_.addObserver(UIApplicationWillResignActiveNotification,
                                           [&](const auto&) { events.emplace_back("resigns"); });
  application_->becomeActive();
  application_->becomeActive();
  EXPECT_THAT(events, IsEmpty()) << "never inside the call";
  ASSERT_TRUE(call(kSession, "org.freedesktop.login1.Session.Lock"));
  EXPECT_TRUE(becomes(false));
  sleepBegins(true);
  ASSERT_TRUE(call(kSession, "org.freedesktop.login1.Session.Unlock"));
  runLoopFor(Seconds{0.1});
  EXPECT_FALSE(application_->isActive()) << "still asleep";
  sleepBegins(false);
  EXPECT_TRUE(becomes(true));
  ASSERT_TRUE(call(kSession, "org.freedesktop.login1.Session.SetLockedHint", {"true"}));
  EXPECT_TRUE(becomes(false));
  ASSERT_TRUE(call(kSession, "org.freedesktop.login1.Session.SetLockedHint", {"false"}));
  EXPECT_TRUE(becomes(true));
  application_->resignActive();
  runLoopFor(Seconds{0.02});
  EXPECT_THAT(events, ElementsAre("active", "resigns", "active", "resigns", "active", "resigns"));
}

TEST_F(LinuxApplicationTest, BackgroundTasksHoldOffSleep) {
  startLogin();
  waitForLogin();
  int expired = 0;
  const auto first = application_->beginBackgroundTask([&] { ++expired; });
  const auto second = application_->beginBackgroundTask({});
  EXPECT_TRUE(runLoopUntil([] { return isInhibited(); }));
  application_->endBackgroundTask(second);
  EXPECT_TRUE(isInhibited());
  sleepBegins(true);
  EXPECT_TRUE(runLoopUntil([&] { return expired == 1; }));
  application_->endBackgroundTask(first);
  EXPECT_TRUE(runLoopUntil([] { return !isInhibited(); }));
}

TEST_F(LinuxApplicationTest, RecoversWhenServiceAndBusReturn) {
  application_->becomeActive();
  EXPECT_FALSE(application_->state().usable);
  EXPECT_NE(application_->state().mend, "");
  const auto task = application_->beginBackgroundTask({});
  startLogin();
  waitForLogin();
  EXPECT_TRUE(runLoopUntil([] { return isInhibited(); }));
  sleepBegins(true);
  EXPECT_TRUE(becomes(false));

  login_.end();
  EXPECT_TRUE(becomes(true)) << "nobody would tell of the waking";
  bus_.stop();
  EXPECT_TRUE(runLoopUntil([&] { return !application_->state().usable; }));
  bus_.start();
  startLogin();
  waitForLogin();
  EXPECT_TRUE(runLoopUntil([] { return isInhibited(); }));
  ASSERT_TRUE(call(kSession, "org.freedesktop.login1.Session.Lock"));
  EXPECT_TRUE(becomes(false));
  application_->endBackgroundTask(task);
}

TEST_F(LinuxApplicationTest, SurvivesWrongTypesAndRefusals) {
  login_ = ChildProcess({"/usr/bin/python3", "-m", "dbusmock", "--system", kName,
                         "/org/freedesktop/login1", "org.freedesktop.login1.Manager"});
  ASSERT_TRUE(run({"gdbus", "wait", "--system", kName, "--timeout", "60"}));
  application_->becomeActive();
  const auto task = application_->beginBackgroundTask({});
  EXPECT_TRUE(runLoopUntil([&] { return !console_.lines.empty(); }));
  EXPECT_THAT(console_.lines, ElementsAre(HasSubstr("cannot hold off sleep")));
  ASSERT_TRUE(call("/org/freedesktop/login1", "org.freedesktop.DBus.Mock.EmitSignal",
                   {"org.freedesktop.login1.Manager", "PrepareForSleep", "s", "[<'true'>]"}));
  runLoopFor(Seconds{0.1});
  EXPECT_TRUE(application_->isActive());
  application_->endBackgroundTask(task);
}

TEST_F(LinuxApplicationTest, FetchesAtTheIntervalOneAfterTheOther) {
  std::vector<std::function<void(UIBackgroundFetchResult)>> fetches;
  application_->setBackgroundFetchHandler(
      [&](std::function<void(UIBackgroundFetchResult)> done) { fetches.push_back(done); });
  runLoopFor(Seconds{0.05});
  EXPECT_EQ(fetches.size(), 0U) << "the host has named no interval";
  application_->setMinimumBackgroundFetchInterval(Seconds{0});
  EXPECT_TRUE(runLoopUntil([&] { return fetches.size() == 1; }));
  runLoopFor(Seconds{1.1});
  EXPECT_EQ(fetches.size(), 1U) << "the first is still under way";
  fetches[0](UIBackgroundFetchResult::newData);
  EXPECT_TRUE(runLoopUntil([&] { return fetches.size() == 2; }));
  fetches[0](UIBackgroundFetchResult::failed);
  application_.reset();
  fetches[1](UIBackgroundFetchResult::noData);
}

TEST_F(LinuxApplicationTest, ShowsLocalNotificationsAndAlerts) {
  std::vector<std::string> shown;
  application_->setPresenter([&](const auto& each) { shown.push_back(each.alertBody); });
  application_->scheduleLocalNotification({Seconds{0.02}, "later", false, {}});
  application_->showAlertView({"Title", "now", "OK"});
  EXPECT_TRUE(runLoopUntil([&] { return shown.size() == 2; }));
  application_->scheduleLocalNotification({Seconds{0.01}, "never", false, {}});
  application_->cancelAllLocalNotifications();
  runLoopFor(Seconds{0.03});
  EXPECT_THAT(shown, ElementsAre("Title\nnow", "later"));
  EXPECT_EQ(console_.lines, shown);
}

}  // namespace ks::test
