#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "tests/Network/PortalTest.h"

namespace ks::test {
namespace {

using enum KSContentDownloadType;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

constexpr const char* kUuid = "F7826DA6-4FA2-4E98-8024-BC5B71E0893E";
const CLLocation kHere{{45, 7}, {}, {}};

std::shared_ptr<KSProximityZoneContentCategory> category(const char* identifier) {
  auto category = std::make_shared<KSProximityZoneContentCategory>();
  category->identifier = identifier;
  return category;
}

class KSNetworkTest : public PortalTest {
 protected:
  std::filesystem::path temporary() const { return platform->directories().temporary; }
  std::size_t temporaryFiles() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(temporary()), {}));
  }
  void upload(const std::string& body) {
    auto request = NSURLRequestKS::defaultPostRequestWithUrl({"https://portal.test/app/post"});
    request.httpBody.assign(body.begin(), body.end());
    network->upload(request, [this](std::optional<int> status) { statuses.push_back(status); });
  }

  /// Of each upload that has ended.
  std::vector<std::optional<int>> statuses;
};

TEST_F(KSNetworkTest, ConfiguresBackgroundSession) {
  const auto& configuration = http->session()->configuration();
  EXPECT_EQ(configuration.identifier, "KSBeaconApp");
  EXPECT_EQ(configuration.urlCache.memoryCapacity, 16384U);
  EXPECT_EQ(configuration.urlCache.diskCapacity, 268435456U);
  EXPECT_EQ(configuration.urlCache.directory,
            platform->directories().caches / "com.example.application" / "KSBeaconSDK");
  EXPECT_EQ(configuration.timeoutIntervalForRequest, Seconds{30});
  EXPECT_EQ(configuration.timeoutIntervalForResource, Seconds{60});
  EXPECT_EQ(configuration.httpMaximumConnectionsPerHost, 1);
  const auto& headers = configuration.httpAdditionalHeaders;
  EXPECT_EQ(*headers.find("Accept-Language"), "it-it");
  EXPECT_EQ(*headers.find("Accept-Header"), "application/json");
  EXPECT_EQ(*headers.find("Authorization"), "Basic dXNlcjpzZWNyZXQ=");
}

TEST_F(KSNetworkTest, KeepsOddLocalesAndLongCredentials) {
  platform->change([](SimulatedSettings& settings) { settings.locale = {"DE", std::nullopt}; });
  const auto other = makeNetwork(std::string(40, 'u'), std::string(40, 'p'));
  const auto& headers = http->session()->configuration().httpAdditionalHeaders;
  EXPECT_EQ(*headers.find("Accept-Language"), "de-(null)");
  EXPECT_EQ(headers.find("Authorization")->find("\r\n"), std::string("Basic ").size() + 64);
}

TEST_F(KSNetworkTest, SendsDisabledCategoriesThenTags) {
  const Dictionary tags{{"sex", "f"}, {"age", "30"}};
  network->loadProximityZonesForLocation("l1", {category("3"), category("-100"), category("7")},
                                         tags);
  network->loadContentForBeacons({"A:1:2"}, {category("-100")}, {});
  EXPECT_THAT(http->waitingURLs(), ElementsAre(HasSubstr("&location=l1&dc=3,7&_sex=f&_age=30"),
                                               HasSubstr("&bid=A:1:2&dc=")));
  EXPECT_FALSE(KSNetwork::queryItemForDisabledCategories({}));
  EXPECT_THAT(KSNetwork::queryItemsForTags({}), IsEmpty());
}

TEST_F(KSNetworkTest, AnswersEveryRequestedBeacon) {
  const std::string known = std::string(kUuid) + ":1:2";
  const std::string lowerCase = "f7826da6-4fa2-4e98-8024-bc5b71e0893e:1:2";
  network->loadContentForBeacons({known, lowerCase, "X:1:9", "X:1:9", "broken"}, {}, {});
  const std::string document =
      R"([{"id":"b1","uuid":")" + std::string(kUuid) + R"(","major":1,"minor":"2","content":{}}])";
  ASSERT_EQ(answer("/beacons", 200, document), 1U);
  const auto zones = recordsOf<KSPrivateBeacon>(*reports.back().result);
  ASSERT_THAT(zones, SizeIs(5));
  EXPECT_EQ(zones[0]->state(), KSPrivateBeaconState::contentFetched);
  for (std::size_t i = 1; i < zones.size(); ++i) {
    EXPECT_EQ(zones[i]->state(), KSPrivateBeaconState::noContent);
    EXPECT_FALSE(zones[i]->identifier());
  }
  EXPECT_EQ(zones[1]->uuid()->UUIDString(), kUuid);
  EXPECT_EQ(zones[2]->minor(), 9);
  EXPECT_FALSE(zones[4]->uuid());
}

TEST_F(KSNetworkTest, ReportsUnreadableDocuments) {
  network->loadProximityZoneContentCategories();
  EXPECT_EQ(answer("/contents", 500, "<html>"), 1U);
  EXPECT_TRUE(reports.back().error);

  network->loadProximityZonesForLocation("l1", {}, {});
  ASSERT_EQ(answer("location=l1", 200, "[1]"), 2U);
  EXPECT_TRUE(reports[1].error);
  EXPECT_FALSE(reports[2].error || reports[2].result);
  EXPECT_EQ(*reports[2].metaData, (Dictionary{{"locationIdentifier", "l1"}}));

  network->loadContentForBeacons({"A:1:2"}, {}, {});
  ASSERT_EQ(answer("bid=A", 200, ""), 2U);
  EXPECT_TRUE(reports[3].error);
  EXPECT_THAT(recordsOf<KSPrivateBeacon>(*reports[4].result), SizeIs(1));
}

TEST_F(KSNetworkTest, UploadsFromOwnFile) {
  upload("one");
  upload("two");
  const auto first = http->transfer("/post");
  EXPECT_EQ(first->body, "one");
  const std::filesystem::path file = first->taskDescription();
  EXPECT_EQ(file.parent_path(), temporary());
  EXPECT_THAT(file.filename().string(), MatchesRegex("1767254400-[0-9]+\\.dat"));
  upload("three");
  EXPECT_EQ(answer("/post", 500, ""), 0U);
  EXPECT_EQ(temporaryFiles(), 2U);
  EXPECT_THAT(platform->console().lines(), IsEmpty());
  http->fail("/post", NSURLError::timedOut);
  platform->runUntilIdle();
  std::filesystem::remove(http->transfer("/post")->taskDescription());
  http->fail("/post", NSURLError::timedOut);
  platform->runUntilIdle();
  EXPECT_EQ(temporaryFiles(), 0U);
  EXPECT_THAT(platform->console().lines(),
              ElementsAre(HasSubstr("-1001"), HasSubstr("Cannot remove")));
  EXPECT_THAT(statuses, ElementsAre(500, std::nullopt, std::nullopt));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(KSNetworkTest, LeavesNoFilesOfUnfinishedUploads) {
  upload("one");
  upload("two");
  ASSERT_EQ(temporaryFiles(), 2U);
  network.reset();
  EXPECT_EQ(temporaryFiles(), 0U);
}

TEST_F(KSNetworkTest, TellsWhatItFetched) {
  const CLLocation here = kHere;
  const struct {
    std::function<void()> ask;
    const char* url;
    int status;
    const char* body;
    const char* line;
  } cases[] = {
      {[&] { network->loadProximityZoneContentCategories(); }, "/contents", 200, "[]",
       "Content categories succesfully fetched"},
      {[&] { network->loadLocations(here); }, "/locations", 200, "[]",
       "Locations succesfully fetched"},
      {[] {}, "/geofences", 200, "[]", "Geofence zones + content succesfully fetched"},
      {[&] { network->loadProximityZonesForLocation("l1", {}, {}); }, "location=l1", 200, "[]",
       "Beacon zones + content fetched for location: l1"},
      {[&] { network->loadContentForBeacons({"A:1:2"}, {}, {}); }, "bid=A", 200, "[]",
       "Beacon zones + content fetched for bid: A:1:2"},
      {[&] { network->loadContentForBeacons({"B:1:2"}, {}, {}); }, "bid=B", 401, "[]", "Error"},
  };
  enableLogging = true;
  for (const auto& each : cases) {
    each.ask();
    platform->console().clear();
    EXPECT_EQ(answer(each.url, each.status, each.body), each.status == 401 ? 0U : 1U) << each.url;
    EXPECT_THAT(platform->console().lines().at(0), EndsWith(each.line));
  }
  enableLogging = false;
}

TEST_F(KSNetworkTest, ResetEndsAllTransfers) {
  network->loadLocations(kHere);
  upload("one");
  network->reset();
  platform->runUntilIdle();
  EXPECT_THAT(reports, SizeIs(3));
  network->loadProximityZoneContentCategories();
  upload("two");
  EXPECT_THAT(http->waitingURLs(), IsEmpty());
  EXPECT_EQ(temporaryFiles(), 0U);
}

TEST_F(KSNetworkTest, CallsBackgroundHandlerOnceOnMainQueue) {
  int calls = 0;
  bool onMainQueue = false;
  network->setBackgroundSessionCompletionHandler([&] {
    ++calls;
    onMainQueue = platform->mainQueue().isCurrent();
  });
  http->finishBackgroundEvents();
  http->finishBackgroundEvents();
  platform->runUntilIdle();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(onMainQueue);
  EXPECT_FALSE(network->backgroundSessionCompletionHandler());
}

}  // namespace
}  // namespace ks::test
