#include <gmock/gmock.h>

#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/NSPropertyListSerialization.h"
#include "tests/Tools/CommandRunner.h"
#include "tools/ksbeacon/inspect/ArchiveView.h"

namespace ks::tool {
namespace {

using test::runCommand;

Data bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

std::string json(const Data& bytes) {
  const auto view = viewArchive(bytes);
  return view ? archiveJson(view->content) : view.error().localizedDescription();
}

TEST(ArchiveViewTest, ShowsPropertyListsOfBothForms) {
  const Dictionary values{{"text", "a\nb"},
                          {"list", Array{1, true, 2.5, dateFromSecondsSince1970(1525435407)}},
                          {"data", Data{1, 2, 255}},
                          {"none", Array{}}};
  for (const auto format : {NSPropertyListFormat::binary, NSPropertyListFormat::xml}) {
    const auto bytes = NSPropertyListSerialization::dataWithPropertyList(values, format);
    const auto view = viewArchive(*bytes);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->form, "property list");
    EXPECT_EQ(archiveJson(view->content),
              R"({"text":"a\nb","list":[1,true,2.5,"2018-05-04 12:03:27 +0000"],)"
              R"("data":"AQL/","none":[]})");
    EXPECT_EQ(archiveText(view->content),
              "text: \"a\\nb\"\nlist:\n  - 1\n  - true\n  - 2.5\n  - 2018-05-04 12:03:27 +0000\n"
              "data: 3 bytes: 0102ff\nnone: []\n");
  }
}

TEST(ArchiveViewTest, NumbersWhatIsSharedInArchives) {
  auto content = std::make_shared<KSTextPushProximityZoneContent>();
  content->identifier = "welcome";
  std::vector<Value> beacons;
  for (const int minor : {1, 2}) {
    auto beacon = std::make_shared<KSPrivateBeacon>();
    beacon->setMinor(minor);
    beacon->setContent(content);
    beacons.push_back(beacon);
  }
  const auto view =
      viewArchive(NSKeyedArchiver::archivedDataWithRootObject(Array(std::move(beacons))));
  ASSERT_TRUE(view);
  EXPECT_EQ(view->form, "keyed archive");
  const std::string text = archiveText(view->content);
  EXPECT_THAT(text, testing::StartsWith("- KSPrivateBeacon\n"));
  EXPECT_THAT(text, testing::HasSubstr("  content: KSTextPushProximityZoneContent #1\n"));
  EXPECT_THAT(text, testing::HasSubstr("    identifier: welcome\n"));
  EXPECT_THAT(text, testing::HasSubstr("  content: -> #1\n"));
  EXPECT_THAT(archiveJson(view->content), testing::HasSubstr(R"("content":{"$ref":1})"));
}

/// An archive in text form with these objects, the first of which is number 1.
Data archiveOf(const std::string& objects) {
  return bytesOf(
      "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string><key>$version</key>"
      "<integer>100000</integer><key>$top</key><dict><key>root</key><dict><key>CF$UID</key>"
      "<integer>1</integer></dict></dict><key>$objects</key><array><string>$null</string>" +
      objects + "</array></dict></plist>");
}

std::string uid(int number) {
  return "<dict><key>CF$UID</key><integer>" + std::to_string(number) + "</integer></dict>";
}

TEST(ArchiveViewTest, ShowsWhatThereIsOfStrangeArchives) {
  const std::string classEntry = "<dict><key>$classname</key><string>Node</string></dict>";
  const std::string circle =
      "<dict><key>next</key>" + uid(1) + "<key>$class</key>" + uid(2) + "</dict>" + classEntry;
  const std::string dangling =
      "<dict><key>next</key>" + uid(77) + "<key>none</key>" + uid(0) + "</dict>";
  std::string deep;
  for (int i = 2; i < 2000; ++i) deep += "<dict><key>n</key>" + uid(i) + "</dict>";
  const struct {
    Data bytes;
    const char* shown;
  } cases[] = {
      {archiveOf(circle), R"({"$class":"Node","$object":1,"next":{"$ref":1}})"},
      {archiveOf(dangling), R"({"next":{"$ref":77},"none":null})"},
      {archiveOf(deep), "it nests too deep"},
      {bytesOf("<plist><dict><key>$archiver</key><string>x</string></dict></plist>"),
       R"({"$$archiver":"x"})"},
      {bytesOf("<plist><dict><key>$class</key><integer>5</integer><key>$ref</key><array/></dict></"
               "plist>"),
       R"({"$$class":5,"$$ref":[]})"},
  };
  for (const auto& each : cases) EXPECT_EQ(json(each.bytes), each.shown);
  EXPECT_EQ(archiveText(viewArchive(std::end(cases)[-1].bytes)->content), "$class: 5\n$ref: []\n");
}

TEST(InspectCommandTest, AnswersWithOneLineAndItsExitCode) {
  const test::TemporaryFolder folder;
  test::writeText(folder.path() / "text", "hello\n");
  test::writeText(folder.path() / "cut", "bplist00\x01\x02");
  test::writeText(folder.path() / "ok.plist",
                  "<plist><array><string>a\x1b[2J</string></array></plist>");
  const std::string ok = folder.path() / "ok.plist";
  EXPECT_EQ(runCommand(KS_COMMAND " inspect " + ok).output, "# property list\n- \"a\\u001b[2J\"\n");
  EXPECT_EQ(runCommand(KS_COMMAND " inspect --json " + ok).output, "[\"a\\u001b[2J\"]\n");
  for (const char* const wrong : {"text", "cut", "nothing", "."}) {
    const auto result = runCommand(KS_COMMAND " inspect " + (folder.path() / wrong).string());
    EXPECT_EQ(result.code, 2) << wrong;
    EXPECT_THAT(result.errors, testing::MatchesRegex("ksbeacon: .*: expected a [^\n]*\n")) << wrong;
    EXPECT_EQ(result.output, "") << wrong;
  }
}

}  // namespace
}  // namespace ks::tool
