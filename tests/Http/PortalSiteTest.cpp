#include <gmock/gmock.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "tests/Http/HttpFixture.h"
#include "tools/ksbeacon/portal/PortalSite.h"

namespace ks::portal {
namespace {

using test::readText;
using test::writeText;

constexpr const char* kA = "4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B";
constexpr const char* kB = "5B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B";

class PortalSiteTest : public testing::Test {
 protected:
  PortalSiteTest() {
    options.documents = folder.path();
    options.statisticsFile = folder / "events.jsonl";
    options.onMessage = [this](const std::string& text) { messages.push_back(text); };
    writeText(folder / "categories.json", R"([{"id": "1", "name": "News"}])");
    writeText(folder / "locations.json", R"([
      {"id": "near", "latitude": 45.0, "longitude": 7.0},
      {"id": "far", "latitude": 45.1, "longitude": 7.0}])");
    writeText(folder / "geofences.json", R"([
      {"id": "g1", "latitude": 45.0, "longitude": 7.0, "radius": 100},
      {"id": "g2", "latitude": 45.1, "longitude": 7.0, "radius": 5000}])");
    const auto beacon = [](const std::string& id, const char* uuid, const std::string& minor,
                           const std::string& site, const std::string& more) {
      return "{\"id\": \"" + id + "\", \"uuid\": \"" + uuid +
             "\", \"major\": 1, \"minor\": " + minor + ", \"location\": {\"id\": \"" + site +
             "\"}" + more + "}";
    };
    const std::string content = R"(, "content": {"id": "c", "type": "HTML", "categoryId": 5})";
    writeText(folder / "beacons.json",
              "[" + beacon("b1", kA, "1", "near", R"(, "tags": {"lang": "it"})" + content) + "," +
                  beacon("b2", kA, "2", "near", content) + "," +
                  beacon("b3", kB, "3", "far", R"(, "tags": {"vip": "1"})" + content) + "]");
  }
  SiteReply get(const std::string& path, const std::string& query = "") {
    if (!site) site = std::move(PortalSite::make(options).value());
    return site->answer({"GET", path, query, authorization, ifNoneMatch, ""});
  }
  SiteReply post(const std::string& path, const std::string& body) {
    if (!site) site = std::move(PortalSite::make(options).value());
    return site->answer({"POST", path, "", authorization, "", body});
  }
  /// The identifiers of a reply's entries, with a "+" where there is content; the status otherwise.
  static std::string entries(const SiteReply& reply) {
    if (reply.status != 200) return std::to_string(reply.status);
    std::string text;
    const auto document = boost::json::parse(reply.body);
    for (const auto& item : document.as_array()) {
      const auto& object = item.as_object();
      EXPECT_FALSE(object.contains("tags"));
      text += std::string(object.at("id").as_string()) + (object.contains("content") ? "+ " : " ");
    }
    return text;
  }

  test::TemporaryFolder folder;
  PortalOptions options;
  std::vector<std::string> messages;
  std::string authorization;
  std::string ifNoneMatch;
  std::unique_ptr<PortalSite> site;
};

TEST_F(PortalSiteTest, AppliesQueries) {
  const std::string here = "latitude=45.000000&longitude=7.000000&retrieveby=coordinate&range=";
  const std::string a = kA;
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"/contents/categories", "", "1 "},
      {"/locations", "", "near far "},
      {"/locations", here + "7", "near "},
      {"/locations", here + "12", "near far "},
      {"/locations", "retrieveby=coordinate&latitude=45", "400"},
      {"/locations", here + "x", "400"},
      {"/locations", here + "nan", "400"},
      {"/geofences", here + "7", "g1 g2 "},
      {"/geofences", here + "6", "g1 "},
      {"/beacons/unique-uuids", here + "7", "b2+ "},
      {"/beacons/unique-uuids", here + "100", "b2+ b3 "},
      {"/beacons", "", "400"},
      {"/beacons", "retrieveby=location&location=near", "b2+ "},
      {"/beacons", "retrieveby=location&location=near&_lang=it", "b1+ b2+ "},
      {"/beacons", "retrieveby=location&location=near&_lang=de", "b2+ "},
      {"/beacons", "retrieveby=location&location=near&dc=1,5", "b2 "},
      {"/beacons", "retrieveby=location&location=near&dc=", "b2+ "},
      {"/beacons", "retrieveby=location&location=none", ""},
      {"/beacons", "retrieveby=identifiers&bid=" + a + "%3A1%3A2&bid=" + a + ":1:9", "b2+ "},
      {"/beacons", "retrieveby=identifiers&_lang=it&bid=" + a + ":1:2&bid=" + a + ":1:1",
       "b2+ b1+ "},
      {"/beacons", "retrieveby=identifiers&bid=" + a + ":1", "400"},
      {"/beacons", "retrieveby=identifiers&bid=" + a + ":1:70000", "400"},
  };
  for (const auto& [path, query, expected] : cases) {
    EXPECT_EQ(entries(get(path, query)), expected) << path << "?" << query;
  }
}

TEST_F(PortalSiteTest, ChecksCredentialsMethodsAndPaths) {
  options.username = "dev";
  options.password = "secret:x";
  for (const char* wrong : {"", "Basic", "Basic ZGV2OnNlY3JldA==", "Bearer ZGV2OnNlY3JldDp4"}) {
    authorization = wrong;
    EXPECT_EQ(get("/locations").status, 401) << wrong;
  }
  authorization = "Basic ZGV2OnNlY3JldDp4";
  EXPECT_EQ(get("/locations").status, 200);
  EXPECT_EQ(get("/beacons/enter").status, 405);
  EXPECT_EQ(post("/locations", "[]").status, 405);
  EXPECT_EQ(get("/beacons/other").status, 404);
}

TEST_F(PortalSiteTest, ConfirmsKnownDocuments) {
  ifNoneMatch = get("/locations").fields.at(0).second;
  EXPECT_EQ(get("/locations").status, 304);
  EXPECT_EQ(get("/geofences").status, 200);
  ifNoneMatch = "\"other\"";
  EXPECT_EQ(get("/locations").status, 200);
}

TEST_F(PortalSiteTest, RecordsDocumentedBodiesOnly) {
  std::vector<std::string> seen;
  options.onStatistic = [&](const PortalStatistic& event) {
    seen.push_back(event.zoneKind + "/" + event.event);
  };
  const std::string time = R"("timestamp": "2018-05-04T14:03:27+0200")";
  const std::pair<std::string, std::string> good[] = {
      {"/beacons/enter", R"({"beaconId": "b", )" + time + R"(, "tags": {}})"},
      {"/beacons/exit",
       R"({"beaconId": "b", "batteryLevel": null, "duration": 10, "tags": null, )" + time + "}"},
      {"/beacons/notification",
       R"({"beaconId": "b", "contentId": "c", "schedulId": null, "tags": {"a": "b"}, )" + time +
           "}"},
      {"/beacons/content",
       R"({"beaconId": "b", "contentId": "c", "schedulId": "s", "tags": {}, )" + time + "}"},
      {"/geofences/enter", R"({"geofenceId": "g", )" + time + "}"},
      {"/geofences/exit", R"({"geofenceId": "g", "duration": 0, )" + time + "}"},
      {"/geofences/notification",
       R"({"geofenceId": "g", "contentId": "c", "schedulId": null, "tags": {}, )" + time + "}"},
  };
  for (const auto& [path, body] : good) EXPECT_EQ(post(path, body).status, 204) << path;
  const std::string lines = readText(folder / "events.jsonl");

  const std::tuple<std::string, std::string, std::string> bad[] = {
      {"/beacons/enter", "{", "no valid JSON: incomplete JSON"},
      {"/beacons/enter", "[]", "expected an object"},
      {"/beacons/enter", good[4].second, "beaconId: missing"},
      {"/geofences/enter", good[0].second, "geofenceId: missing"},
      {"/geofences/enter", R"({"geofenceId": "g", "timestamp": "now"})", "timestamp: expected"},
      {"/geofences/exit", R"({"geofenceId": "g", "duration": 1.5, )" + time + "}",
       "duration: expected a whole number"},
      {"/geofences/enter", good[5].second, "duration: unknown member"},
  };
  for (const auto& [path, body, expected] : bad) {
    const auto reply = post(path, body);
    EXPECT_EQ(reply.status, 400) << body;
    EXPECT_THAT(reply.body, testing::HasSubstr(expected));
  }
  EXPECT_EQ(seen.size(), std::size(good));
  EXPECT_EQ(readText(folder / "events.jsonl"), lines);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), std::ssize(good));
  EXPECT_THAT(lines,
              testing::StartsWith(R"({"zone":"beacons","event":"enter","body":{"beaconId")"));
}

TEST_F(PortalSiteTest, ServesLastGoodState) {
  EXPECT_EQ(entries(get("/contents/categories")), "1 ");
  writeText(folder / "categories.json", "[{\"id\": \"2\",\n \"name\": 5}]");
  EXPECT_EQ(entries(get("/contents/categories")), "1 ");
  EXPECT_EQ(entries(get("/contents/categories")), "1 ");
  writeText(folder / "categories.json", R"([{"id": "2", "name": "Sports"}])");
  EXPECT_EQ(entries(get("/contents/categories")), "2 ");
  std::filesystem::remove(folder / "categories.json");
  EXPECT_EQ(entries(get("/contents/categories")), "");
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_THAT(messages[0], testing::HasSubstr("categories.json:2: [0].name: expected text"));

  const test::TemporaryFolder away;
  std::filesystem::rename(folder.path(), away / "documents");
  EXPECT_EQ(entries(get("/locations")), "near far ");
  EXPECT_EQ(entries(get("/locations")), "near far ");
  std::filesystem::rename(away / "documents", folder.path());
  EXPECT_EQ(entries(get("/locations")), "near far ");
  ASSERT_EQ(messages.size(), 5U);
  EXPECT_EQ(messages[3],
            folder.path().string() + ": not a folder; the last good state is served on");
  EXPECT_EQ(messages[4], folder.path().string() + ": there again");
}

TEST_F(PortalSiteTest, StartsOnGoodDocumentsOnly) {
  writeText(folder / "locations.json", "[{\"id\": 1}]");
  const auto made = PortalSite::make(options);
  ASSERT_FALSE(made);
  EXPECT_THAT(made.error().localizedDescription(),
              testing::HasSubstr("locations.json:1: [0].latitude: missing"));
  options.documents = folder / "none";
  EXPECT_FALSE(PortalSite::make(options));
}

}  // namespace
}  // namespace ks::portal
