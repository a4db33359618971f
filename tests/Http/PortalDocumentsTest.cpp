#include <gtest/gtest.h>

#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::portal {
namespace {

std::string problemsOf(DocumentKind kind, const std::string& text) {
  std::string all;
  for (const auto& problem : parseDocument(kind, "d.json", text).problems) {
    all += problem.description() + "\n";
  }
  return all;
}

constexpr const char* kBeacon = R"("id": 7, "uuid": "4b8e1a60-5d0c-4f3b-9e57-0c1d2e3f4a5b",
 "major": "1", "minor": 65535)";

TEST(PortalDocumentsTest, GoodDocumentsPass) {
  using enum DocumentKind;
  const std::pair<DocumentKind, std::string> good[] = {
      {categories, "[]"},
      {categories, "\xef\xbb\xbf[{\"id\": 1, \"name\": \"News\"}]"},
      {locations, R"([{"id": "a", "latitude": "45.5", "longitude": -180, "name": null}])"},
      {beacons, std::string("[{") + kBeacon + R"(, "location": {"id": 3}, "tags": {"a": "b"},
        "validUntil": "2030-01-01T00:00:00.0000000Z", "content": null, "schedule": {"id": 1}}])"},
      {beacons, std::string("[{") + kBeacon + R"(, "content": {"type": "HTML", "id": 1,
        "repeatDelaySeconds": -1, "proximity": "NEAR", "notifyOn": "EXIT", "pageUrl": "x"}}])"},
      {geofences, R"([{"id": 1, "latitude": 0, "longitude": 0, "radius": 150.5}])"}};
  for (const auto& [kind, text] : good) EXPECT_EQ(problemsOf(kind, text), "") << text;
}

TEST(PortalDocumentsTest, ProblemsNameLineAndMember) {
  using enum DocumentKind;
  const std::string beacon = std::string("[\n{") + kBeacon;
  const std::tuple<DocumentKind, std::string, std::string> bad[] = {
      {categories, "[\n{\"id\": 1,\n}]", "d.json:3: no valid JSON: syntax error\n"},
      {categories, "[]\n\n[]", "d.json:3: no valid JSON: extra data\n"},
      {categories, "[", "d.json:1: no valid JSON: incomplete JSON\n"},
      {categories, "", "d.json:1: no valid JSON: incomplete JSON\n"},
      {categories, "\n{}", "d.json:2: expected a list of objects\n"},
      {categories, "[\n 3]", "d.json:2: [0]: expected an object\n"},
      {categories, "[{\"id\": 1,\n \"name\":\n 5}]", "d.json:3: [0].name: expected text\n"},
      {locations, "[\n{\"id\": \"\\\"[{\", \"latitude\": 91, \"longitude\": 0}]",
       "d.json:2: [0].latitude: expected a number from -9E1 to 9E1\n"},
      {geofences, "[{\"id\": 1, \"latitude\": 0, \"longitude\": 0}]",
       "d.json:1: [0].radius: missing; expected a number from 0E0\n"},
      {beacons, beacon + ",\n\"content\": {\"id\": 1, \"type\":\n\"html\"}}]",
       "d.json:5: [0].content.type: expected one of HTML VIDEO PUSH_TEXT FOLLOW_TRACK\n"},
      {beacons, beacon + ", \"majr\": 1,\n \"tags\": {\"a\": 1}}]",
       "d.json:4: [0].tags: expected an object whose values are text\n"
       "d.json:3: [0].majr: unknown member; did you mean \"major\"?\n"},
      {beacons, beacon + ", \"validUntil\": \"2030-01-01\"}]",
       "d.json:3: [0].validUntil: expected a date like 2030-01-31T12:00:00.0000000Z\n"}};
  for (const auto& [kind, text, expected] : bad) EXPECT_EQ(problemsOf(kind, text), expected);
}

TEST(PortalDocumentsTest, HostileTextsAreRefused) {
  for (const std::string& text : {std::string(100'000, '['), std::string("[\"\xff\"]"),
                                  std::string("[1e999]"), std::string("[{\"id\"", 6)}) {
    EXPECT_NE(problemsOf(DocumentKind::categories, text), "");
  }
  // Many faults in one document: the first hundred are told.
  std::string many = "[1";
  for (int i = 0; i < 20'000; ++i) many += ",1";
  EXPECT_EQ(parseDocument(DocumentKind::beacons, "d", many + "]").problems.size(), 100U);
}

}  // namespace
}  // namespace ks::portal
