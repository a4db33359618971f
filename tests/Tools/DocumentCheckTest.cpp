#include <gmock/gmock.h>

#include <string>

#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/check/DocumentCheck.h"

namespace ks::tool {
namespace {

const std::string kUuid = "4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B";

const Date kNow = dateFromSecondsSince1970(1'777'885'200);  // 4 May 2026

std::string beacon(const std::string& id, const std::string& minor, const std::string& content) {
  return "{\"id\":\"" + id + "\",\"uuid\":\"" + kUuid + "\",\"major\":1,\"minor\":" + minor +
         ",\"location\":{\"id\":\"l\"},\"content\":{\"id\":\"c\",\"type\":\"PUSH_TEXT\"" + content +
         "}}";
}

std::string circle(const std::string& id, const std::string& latitude, const std::string& content) {
  return "{\"id\":\"" + id + "\",\"name\":\"n\",\"latitude\":" + latitude +
         ",\"longitude\":7,\"radius\":100,\"content\":{\"id\":\"c\",\"type\":\"PUSH_TEXT\"" +
         content + "}}";
}

/// The last problem's member and message of a folder with these documents.
std::string problemIn(const char* file, const std::string& text) {
  const test::TemporaryFolder folder;
  test::writeText(folder / "categories.json", R"([{"id": "1", "name": "n"}])");
  test::writeText(
      folder / "locations.json",
      R"([{"id": "l", "name": "n", "latitude": 1, "longitude": 1, "refreshIntervalSeconds": 9}])");
  test::writeText(folder / file, text);
  const auto problems = checkDocuments(folder.path(), kNow);
  if (problems.empty()) return "";
  EXPECT_GT(problems.back().line, 0);
  return problems.back().member + ": " + problems.back().message;
}

TEST(DocumentCheckTest, FindsWhatCannotWork) {
  const std::string on = ",\"categoryId\":\"1\",\"notifyOn\":\"ENTER\"";
  const std::string off = ",\"categoryId\":\"1\",\"notifyOn\":\"EXIT\"";
  const std::string near = ",\"proximity\":\"NEAR\"";
  const auto validUntil = [&](const std::string& day) {
    std::string text = beacon("a", "1", on);
    return text.insert(1, "\"validUntil\":\"" + day + "T12:00:00.0000000Z\",");
  };
  const struct {
    const char* file;
    std::string text, problem;
  } cases[] = {
      {"beacons.json", beacon("a", "1", on) + "," + beacon("b", "2", on), ""},
      {"beacons.json", beacon("a", "1", on) + ",\n" + beacon("a", "2", on),
       "[1].id: the identifier a stands at [0].id too"},
      {"beacons.json", beacon("a", "1", on) + ",\n" + beacon("b", "\"1\"", on),
       "[1].uuid: the beacon " + kUuid + ":1:1 stands at [0].uuid too"},
      {"beacons.json", beacon("a", "1", ",\"categoryId\":9"),
       "[0].content.categoryId: can never fire: categories.json has no category 9"},
      {"beacons.json", beacon("a", "1", on + ",\"notifyAfterXEvents\":2"),
       "[0].content.notifyAfterXEvents: can never fire"},
      {"beacons.json", beacon("a", "1", on + ",\"notifyAfterXEvents\":2,\"maxIntervalSeconds\":29"),
       "[0].content.maxIntervalSeconds: can hardly fire: 2 events take at least 30 s"},
      {"beacons.json",
       beacon("a", "1", on + near + ",\"notifyAfterXEvents\":3,\"maxIntervalSeconds\":9"),
       "[0].content.maxIntervalSeconds: can hardly fire: 3 events take at least 10 s"},
      {"beacons.json",
       beacon("a", "1", on + near + ",\"notifyAfterXEvents\":3,\"maxIntervalSeconds\":10"), ""},
      {"beacons.json",
       beacon("a", "1", on + ",\"notifyAfterXEvents\":2,\"maxIntervalSeconds\":1") + ",\n" +
           beacon("b", "2", on + ",\"notifyAfterXEvents\":2,\"maxIntervalSeconds\":1"),
       ""},
      {"beacons.json", beacon("a", "1", on + ",\"dwellingTimeSeconds\":-5"),
       "[0].content.dwellingTimeSeconds: expected 0 or more seconds, got -5"},
      {"beacons.json", beacon("a", "1", off + near), "[0].content.proximity: can hardly fire"},
      {"beacons.json", validUntil("2030-02-30"), "[0].validUntil: there is no such date"},
      {"beacons.json", validUntil("2020-02-29"), "[0].validUntil: is over since 2020-02-29"},
      {"beacons.json", validUntil("2030-02-28"), ""},
      {"geofences.json", circle("g", "1", on) + ",\n" + circle("h", "1.001", on),
       "[1]: the circle overlaps that of [0]"},
      {"geofences.json", circle("g", "1", on) + ",\n" + circle("h", "1.01", on), ""},
      {"geofences.json", circle("g", "1", off + ",\"dwellingTimeSeconds\":5"),
       "[0].content.dwellingTimeSeconds: can never fire"},
  };
  for (const auto& each : cases) {
    const std::string problem = problemIn(each.file, "[" + each.text + "]");
    EXPECT_THAT(problem, testing::StartsWith(each.problem)) << each.text;
    EXPECT_EQ(problem.empty(), each.problem.empty()) << problem;
  }
  std::string elsewhere = beacon("a", "1", on);
  elsewhere.replace(elsewhere.find("\"l\""), 3, "\"m\"");
  EXPECT_EQ(problemIn("beacons.json", "[" + elsewhere + "]"),
            "[0].location.id: expected a location of locations.json, got m");
  EXPECT_TRUE(checkDocuments(KS_SOURCE_DIR "/examples/portal", kNow).empty());
}

TEST(DocumentCheckTest, FindsThatDocumentsCannotBeHad) {
  const test::TemporaryFolder folder;
  const auto problem = [&] {
    const auto problems = checkDocuments(folder.path() / "", kNow);
    return problems.size() == 1 ? problems[0].description() : "";
  };
  EXPECT_EQ(problem(), folder.path().string() +
                           ": expected categories.json, locations.json, beacons.json or "
                           "geofences.json in it");
  test::writeText(folder / "categories.json", "[]");
  EXPECT_EQ(problem(), "");
  std::filesystem::create_symlink("beacons.json", folder / "beacons.json");
  EXPECT_EQ(problem(),
            (folder / "beacons.json").string() + ": cannot be read, or is larger than 64 MiB");
}

}  // namespace
}  // namespace ks::tool
