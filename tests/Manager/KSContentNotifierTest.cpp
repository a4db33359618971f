#include <gmock/gmock.h>

#include <filesystem>

#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentNotifier.h"
#include "tests/Support/FakeURLLoadingSystem.h"
#include "tests/Support/PlatformFixture.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

class KSContentNotifierTest : public ks::testing::PlatformFixture {
 protected:
  KSContentNotifierTest() : PlatformFixture(withHttp()) {
    content_->message = "Hello";
    beacon_->setIdentifier("b1");
    beacon_->setContent(content_);
  }

  static ks::SimulatedPlatformOptions withHttp() {
    ks::SimulatedPlatformOptions options;
    options.urlLoadingSystem = http_ = std::make_shared<ks::test::FakeURLLoadingSystem>();
    return options;
  }
  const auto& shown() {
    advance(5);
    return platform_->simulatedNotificationCenter().deliveredNotifications();
  }
  std::size_t temporaryFiles() const {
    const auto& folder = platform_->directories().temporary;
    return std::distance(std::filesystem::directory_iterator(folder), {});
  }

  static inline std::shared_ptr<ks::test::FakeURLLoadingSystem> http_;
  std::shared_ptr<KSTextPushProximityZoneContent> content_ =
      std::make_shared<KSTextPushProximityZoneContent>();
  KSContentNotifier notifier_{*platform_, {}};
  std::shared_ptr<KSPrivateBeacon> beacon_ = std::make_shared<KSPrivateBeacon>();
};

TEST_F(KSContentNotifierTest, FileNamesComeFromTheURL) {
  const std::pair<const char*, const char*> rows[] = {
      {"https://x.test/a/photo.jpg?size=2", "richMedia_photo.jpg"},
      {"https://x.test/a/b/", "richMedia_b"},
      {"photo%20one.png", "richMedia_photo"},
      {"https://x.test/a?u=1/..", "richMedia_.."},
      {"///", "richMedia_"},
  };
  for (const auto& [url, name] : rows) {
    http_->resources = {{url, {1, 2}}};
    const auto path = notifier_.contentPathFromRemoteUrl(url, "richMedia");
    ASSERT_TRUE(path) << url;
    EXPECT_EQ(*path, platform_->directories().temporary / name);
    http_->resources.clear();
    EXPECT_EQ(notifier_.contentPathFromRemoteUrl(url, "richMedia"), path) << "fetched once";
  }
  EXPECT_FALSE(notifier_.contentPathFromRemoteUrl("", "richMedia"));
  EXPECT_FALSE(notifier_.contentPathFromRemoteUrl("https://gone.test/x", "richMedia"));
}

TEST_F(KSContentNotifierTest, ShowsTheMessageWithItsFiles) {
  content_->messageIconUrl = "https://x.test/icon.png";
  content_->richMediaUrl = "https://x.test/film.mp4";
  http_->resources = {{"https://x.test/icon.png", {1}}, {"https://x.test/film.mp4", {2}}};
  const auto before = temporaryFiles();
  notifier_.showNotificationForProximityZone(beacon_);
  const auto pending = platform_->simulatedNotificationCenter().pendingNotifications();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].date, now() + ks::Seconds{5});
  ASSERT_EQ(shown().size(), 1U);
  const auto& request = shown().front().request;
  EXPECT_EQ(request.identifier, "newNotificationRequest");
  EXPECT_EQ(request.content.body, "Hello");
  EXPECT_TRUE(request.content.defaultSound);
  EXPECT_EQ(request.content.userInfo,
            (ks::Dictionary{{"beaconIdentifier", "b1"}, {"contentType", 3}}));
  ASSERT_EQ(request.content.attachments.size(), 2U);
  EXPECT_EQ(request.content.attachments[0].identifier, "messageIcon");
  EXPECT_FALSE(request.content.attachments[0].thumbnailHidden);
  EXPECT_EQ(request.content.attachments[1].identifier, "richMedia");
  EXPECT_EQ(request.content.attachments[1].thumbnailHidden, true);
  EXPECT_EQ(temporaryFiles(), before);
}

TEST_F(KSContentNotifierTest, PicturesShareTheirLimits) {
  constexpr std::size_t kMebibyte = 1024 * 1024;
  content_->messageIconUrl = "https://x.test/icon.png";
  content_->richMediaUrl = "https://x.test/film.mp4";
  http_->resources = {{"https://x.test/icon.png", ks::Data(6 * kMebibyte)}};
  std::vector<std::pair<std::uint64_t, double>> limits;
  http_->onFetch = [&](const ks::DataLimits& each) {
    limits.emplace_back(each.size, each.time.count());
    platform_->loop().stall(ks::Seconds{7});
  };
  notifier_.showNotificationForProximityZone(beacon_);
  EXPECT_THAT(limits, ElementsAre(Pair(10 * kMebibyte, 10), Pair(4 * kMebibyte, 3)));
}

TEST_F(KSContentNotifierTest, MissingIconLeavesThumbnailVisible) {
  content_->messageIconUrl = "https://gone.test/icon.png";
  content_->richMediaUrl = "https://x.test/film.mp4";
  http_->resources = {{"https://x.test/film.mp4", {2}}};
  notifier_.showNotificationForProximityZone(beacon_);
  content_->message = "Second";
  notifier_.showNotificationForProximityZone(beacon_);
  ASSERT_EQ(shown().size(), 1U) << "the second replaced the first";
  const auto& content = shown().front().request.content;
  EXPECT_EQ(content.body, "Second");
  ASSERT_EQ(content.attachments.size(), 1U);
  EXPECT_EQ(content.attachments[0].thumbnailHidden, false);
}

TEST_F(KSContentNotifierTest, OlderDeviceShowsPlainText) {
  platform_->change([](auto& settings) { settings.hasUserNotificationCenter = false; });
  content_->messageIconUrl = "https://x.test/icon.png";
  notifier_.showNotificationForProximityZone(beacon_);
  notifier_.showNotificationForProximityZone(nullptr);
  advance(1);
  const auto& delivered = platform_->application().deliveredLocalNotifications();
  ASSERT_EQ(delivered.size(), 1U);
  EXPECT_EQ(delivered[0].alertBody, "Hello");
  EXPECT_EQ(delivered[0].userInfo,
            (ks::Dictionary{{"beaconIdentifier", "b1"}, {"contentType", 3}}));
}

}  // namespace
