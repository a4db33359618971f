#include <gmock/gmock.h>

#include <algorithm>

#include "tests/Support/TemporaryFolder.h"
#include "tests/Tools/CommandRunner.h"
#include "tools/ksbeacon/report/ReportPage.h"

namespace ks::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

Scenario standingStill() {
  Scenario scenario;
  scenario.walk.stops.emplace_back();
  return scenario;
}

/// The page's data, without the page.
std::string dataOf(const ReportPage& page, const Scenario& scenario = standingStill()) {
  const std::string html = page.html(scenario);
  const auto begin = html.find("{\"world\":");
  return html.substr(begin, html.find("</script>", begin) - begin);
}

TimelineEvent ranging(double at, const std::string& proximity) {
  std::vector<Value> beacons;
  if (!proximity.empty()) {
    beacons.emplace_back(Dictionary{{"name", "door"}, {"proximity", proximity}});
  }
  return {.at = Seconds{at},
          .kind = TimelineKind::ranging,
          .text = "",
          .details = {{"region", "r"}, {"beacons", Array(std::move(beacons))}},
          .minor = true};
}

std::size_t timesIn(const std::string& text, const std::string& part) {
  std::size_t times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++times;
  return times;
}

/// What a browser makes of a page, its scripts run.
std::string shown(const std::filesystem::path& page, const std::string& fragment) {
  const auto result = test::runCommand(
      "chromium --headless --no-sandbox --disable-gpu --no-first-run --disable-quic "
      "--disable-background-networking --disable-component-update --disable-sync "
      "--window-size=1400,900 --user-data-dir=" +
      (page.parent_path() / "browser").string() + " --dump-dom 'file://" + page.string() +
      fragment + "'");
  EXPECT_EQ(result.code, 0) << result.errors;
  // The scripts themselves aside.
  return result.output.substr(0, result.output.find("<script type=\"application/json\""));
}

TEST(ReportPageTest, KeepsOnlyChangesOfRanging) {
  ReportPage page;
  page.note(ranging(1, "far"));
  for (int at = 2; at < 100; ++at) page.note(ranging(at, "near"));
  page.note(ranging(100, ""));
  page.note(ranging(101, "far"));
  page.note({.at = Seconds{102},
             .kind = TimelineKind::region,
             .text = "",
             .details = {{"region", "r"}, {"change", "rangingStopped"}}});
  EXPECT_THAT(dataOf(page), HasSubstr(R"("proximities":[{"at":1,"beacon":"door","proximity":"far"},
{"at":2,"beacon":"door","proximity":"near"},
{"at":100,"beacon":"door","proximity":"gone"},
{"at":101,"beacon":"door","proximity":"far"},
{"at":102,"beacon":"door","proximity":"gone"}])"));
}

TEST(ReportPageTest, TakesNoTextForMarkup) {
  Scenario scenario = standingStill();
  scenario.title = "</script><b>";
  ReportPage page;
  page.note({.kind = TimelineKind::log, .text = "</script>KS-PAGE-DATA", .details = {}});
  EXPECT_THAT(dataOf(page, scenario), AllOf(HasSubstr(R"("title":"\u003c/script>\u003cb>")"),
                                            HasSubstr(R"("text":"\u003c/script>KS-PAGE-DATA")")));
}

TEST(ReportPageTest, ShowsTheMomentOfItsAddress) {
  const test::TemporaryFolder folder;
  const std::string command =
      KS_COMMAND " simulate " KS_SOURCE_DIR "/examples/scenarios/demo.json --report ";
  ASSERT_EQ(test::runCommand(command + (folder / "walk.html").string()).code, 0);
  ASSERT_EQ(test::runCommand(command + (folder / "again.html").string()).code, 0);
  EXPECT_EQ(test::readText(folder / "walk.html"), test::readText(folder / "again.html"));

  const std::string end = shown(folder / "walk.html", "");
  EXPECT_THAT(end, AllOf(HasSubstr("expectations met</p>"), Not(HasSubstr("class=\"later")),
                         HasSubstr("content welcome")));
  // Each beacon, the walk, the fixes, the device.
  EXPECT_GT(timesIn(end, "leaflet-interactive"), 10u);
  const std::string early = shown(folder / "walk.html", "#at=60");
  EXPECT_THAT(early, HasSubstr("0:01:00.000 of "));
  EXPECT_GT(timesIn(early, " later\""), 10u);
  EXPECT_EQ(timesIn(early, "<li "), timesIn(end, "<li "));
}

}  // namespace
}  // namespace ks::tool
