#include <gtest/gtest.h>

#include <string>

#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/DocumentCheck.h"

namespace ks::tool {
namespace {

const std::string kUuid = "4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B";

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
  const auto problems = checkDocuments(folder.path());
  if (problems.empty()) return "";
  EXPECT_GT(problems.back().line, 0);
  return problems.back().member + ": " + problems.back().message;
}

TEST(DocumentCheckTest, FindsWhatCannotWork) {
  const std::string on = ",\"categoryId\":\"1\",\"notifyOn\":\"ENTER\"";
  const std::string off = ",\"categoryId\":\"1\",\"notifyOn\":\"EXIT\"";
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
       "[0].content.notifyAfterXEvents: can never fire: no second event comes within "
       "maxIntervalSeconds"},
      {"geofences.json", circle("g", "1", on) + ",\n" + circle("h", "1.001", on),
       "[1]: the circle overlaps that of [0]: both can be entered at once"},
      {"geofences.json", circle("g", "1", on) + ",\n" + circle("h", "1.01", on), ""},
      {"geofences.json", circle("g", "1", off + ",\"dwellingTimeSeconds\":5"),
       "[0].content.dwellingTimeSeconds: can never fire: on leaving a circle no stay is timed"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(problemIn(each.file, "[" + each.text + "]"), each.problem) << each.text;
  }
  std::string elsewhere = beacon("a", "1", on);
  elsewhere.replace(elsewhere.find("\"l\""), 3, "\"m\"");
  EXPECT_EQ(problemIn("beacons.json", "[" + elsewhere + "]"),
            "[0].location.id: expected a location of locations.json, got m");
  EXPECT_TRUE(checkDocuments(KS_SOURCE_DIR "/examples/portal").empty());
}

}  // namespace
}  // namespace ks::tool
