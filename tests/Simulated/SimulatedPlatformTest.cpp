#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace ks {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(SimulatedPlatformTest, HearsNothingWithoutPower) {
  SimulatedPlatform device;
  device.world().addBeacon({});
  int heard = 0;
  device.location().engine().setAdvertisementListener([&](const Advertisement&) { ++heard; });
  device.setBluetoothState(CBManagerState::poweredOff);
  device.advance(Seconds{5});
  EXPECT_EQ(heard, 0);
  device.setBluetoothState(CBManagerState::poweredOn);
  device.advance(Seconds{5});
  EXPECT_GT(heard, 0);
}

TEST(SimulatedPlatformTest, RemovesOnlyItsOwnFolder) {
  std::filesystem::path own;
  std::filesystem::path given;
  SimulatedPlatform disk;
  {
    const SimulatedPlatform device;
    own = device.directories().temporary;
    SimulatedPlatformOptions options;
    options.root = disk.directories().documents / "device";
    const SimulatedPlatform other(options);
    given = other.directories().temporary;
    EXPECT_TRUE(std::filesystem::exists(own));
  }
  EXPECT_FALSE(std::filesystem::exists(own.parent_path()));
  EXPECT_TRUE(std::filesystem::exists(given));
}

TEST(SimulatedPlatformTest, OneDevicePerFolder) {
  const SimulatedPlatform disk;
  SimulatedPlatformOptions options;
  options.root = disk.directories().documents / "device";
  std::filesystem::path left;
  {
    const SimulatedPlatform first(options);
    EXPECT_THROW(const SimulatedPlatform second(options), std::runtime_error);
    left = first.directories().temporary / "KSDownload-left";
    std::ofstream(left) << "by a killed process";
  }
  const SimulatedPlatform later(options);
  EXPECT_FALSE(std::filesystem::exists(left));
}

TEST(SimulatedApplicationTest, PlaysTheSystemsPart) {
  SimulatedPlatform device;
  SimulatedApplication& application = device.application();
  std::vector<std::string> events;
  const auto record = [&](const NSNotification& event) { events.push_back(event.name); };
  const auto active =
      device.notificationCenter().addObserver(UIApplicationDidBecomeActiveNotification, record);
  const auto resigns =
      device.notificationCenter().addObserver(UIApplicationWillResignActiveNotification, record);
  application.resignActive();
  application.becomeActive();
  application.becomeActive();
  application.resignActive();
  EXPECT_THAT(events, IsEmpty());
  bool expired = false;
  const auto kept = application.beginBackgroundTask([&] { expired = true; });
  application.endBackgroundTask(application.beginBackgroundTask({}));
  application.expireBackgroundTasks();
  device.runUntilIdle();
  EXPECT_THAT(events, ElementsAre(UIApplicationDidBecomeActiveNotification,
                                  UIApplicationWillResignActiveNotification));
  EXPECT_TRUE(expired);
  EXPECT_THAT(application.backgroundTasks(), ElementsAre(kept));
}

class SimulatedUserNotificationCenterTest : public testing::Test {
 protected:
  SimulatedUserNotificationCenterTest() {
    center_.setListener([this](const ScheduledNotificationCenter::Notification& shown) {
      shown_.push_back(shown.request.content.body);
    });
  }
  void add(const std::string& identifier, const std::string& body, double seconds,
           bool repeats = false) {
    UNNotificationRequest request{identifier, {}, {Seconds{seconds}, repeats}};
    request.content.body = body;
    center_.addNotificationRequest(request, [this](const std::optional<Error>& error) {
      if (error) errors_.push_back(error->code());
    });
  }

  SimulatedPlatform device_;
  ScheduledNotificationCenter& center_ = device_.simulatedNotificationCenter();
  std::vector<std::string> shown_;
  std::vector<std::int64_t> errors_;
};

TEST_F(SimulatedUserNotificationCenterTest, NewRequestReplacesPendingOne) {
  add("request", "old", 5);
  device_.advance(Seconds{3});
  add("request", "new", 5);
  add("other", "other", 1);
  EXPECT_THAT(center_.pendingNotifications(), SizeIs(2));
  device_.advance(Seconds{4.9});
  EXPECT_THAT(shown_, ElementsAre("other"));
  device_.advance(Seconds{0.1});
  EXPECT_THAT(shown_, ElementsAre("other", "new"));
  EXPECT_EQ(center_.deliveredNotifications().back().date, kSimulatedStart + Seconds{8});
}

TEST_F(SimulatedUserNotificationCenterTest, RefusesWhatItCannotShow) {
  add("a", "no delay", 0);
  add("b", "repeats too often", 59, true);
  add("c", "repeats", 60, true);
  center_.setAllowed(false);
  add("d", "not allowed", 5);
  device_.advance(Seconds{190});
  EXPECT_THAT(errors_, ElementsAre(1400, 1400, 1));
  EXPECT_THAT(shown_, ElementsAre("repeats", "repeats", "repeats"));
}

TEST_F(SimulatedUserNotificationCenterTest, KeepsAttachmentsOfDeletedFiles) {
  const auto file = device_.directories().temporary / "icon.png";
  std::ofstream(file) << "icon";
  UNNotificationRequest request{"request", {}, {Seconds{5}, false}};
  request.content.attachments = {{"messageIcon", file, std::nullopt}};
  center_.addNotificationRequest(
      request, [&](const std::optional<Error>&) { std::filesystem::remove(file); });
  device_.advance(Seconds{5});
  ASSERT_THAT(center_.deliveredNotifications(), SizeIs(1));
  EXPECT_EQ(*center_.deliveredNotifications().front().attachments.at(0),
            (Data{'i', 'c', 'o', 'n'}));
}

}  // namespace ks
