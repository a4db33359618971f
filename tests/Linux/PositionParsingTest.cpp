#include <gmock/gmock.h>

#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Linux/Positions/GeoClue.h"
#include "BeaconSDK/Platform/Linux/Positions/GpsdProtocol.h"
#include "BeaconSDK/Platform/Linux/Positions/PositionChoice.h"

namespace ks::test {

using testing::ElementsAre;

namespace {

/// "none", "other", "?" or the place.
std::string read(const std::string& line) {
  const GpsdLine read = readGpsdLine(line);
  if (std::holds_alternative<GpsdUnreadable>(read)) return "?";
  if (std::holds_alternative<GpsdOther>(read)) return "other";
  if (std::holds_alternative<GpsdIntroduction>(read)) return "introduction";
  if (std::holds_alternative<GpsdNoFix>(read)) return "none";
  const auto& report = std::get<PositionReport>(read);
  char text[64];
  std::snprintf(text, sizeof text, "%g %g %g", report.coordinate.latitude,
                report.coordinate.longitude, report.horizontalAccuracy.value);
  return text;
}

}  // namespace

TEST(GpsdProtocolTest, ReadsWhatReceiversSay) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"class":"VERSION","release":"3.22"})", "introduction"},
      {R"({"class":"SKY","satellites":[]})", "other"},
      {R"({"class":"TPV","mode":3,"time":"2026-11-21T06:38:23.000Z","lat":45.5,"lon":7,"eph":17.1})",
       "45.5 7 17.1"},
      {R"({"class":"TPV","mode":3,"lat":45.5,"lon":-7.5,"epx":6,"epy":8})", "45.5 -7.5 10"},
      {R"({"class":"TPV","mode":3,"lat":-45.5,"lon":7.5})", "-45.5 7.5 15"},
      {R"({"class":"TPV","mode":2,"lat":45.5,"lon":7.5,"eph":"wide"})", "45.5 7.5 50"},
      {R"({"class":"TPV","mode":3,"lat":45.5,"lon":7.5,"eph":0.01})", "45.5 7.5 5"},
      {R"({"class":"TPV","mode":3,"lat":45.5,"lon":7.5,"eph":-1})", "45.5 7.5 5"},
      {R"({"class":"TPV","mode":1})", "none"},
      {R"({"class":"TPV","mode":0,"lat":45.5,"lon":7.5})", "none"},
      {R"({"class":"TPV","mode":3})", "none"},
      {R"({"class":"TPV","mode":3,"lat":45.5})", "?"},
      {R"({"class":"TPV","mode":3,"lat":"45.5","lon":7.5})", "?"},
      {R"({"class":"TPV","mode":3,"lat":95.5,"lon":7.5})", "?"},
      {R"({"class":"TPV","mode":3,"lat":45.5,"lon":1e999})", "?"},
      {R"({"class":"TPV","mode":3,"lat":nan,"lon":7.5})", "?"},
      {R"({"class":"TPV","mode":"3","lat":45.5,"lon":7.5})", "?"},
      {R"({"class":7})", "?"},
      {R"(["class","TPV"])", "?"},
      {"", "?"},
      {"$GPGGA,063823.00,4504.2180,N", "?"},
      {std::string(10000, '['), "?"},
  };
  for (const auto& [line, expected] : cases) EXPECT_EQ(read(line), expected) << line;
}

TEST(GpsdProtocolTest, CutsStreamsWithinBounds) {
  const std::string endless(3 * kLongestGpsdLine, 'x');
  const std::string longest(kLongestGpsdLine, 'y');
  const std::string stream =
      "one\n\ntwo" + std::string(1, '\0') + "\n" + endless + "\n" + longest + "\nlast\nunfinished";
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{7}, std::size_t{4096}, stream.size()}) {
    LineSplitter lines;
    std::vector<std::string> seen;
    for (std::size_t begin = 0; begin < stream.size(); begin += size) {
      lines.add(std::string_view(stream).substr(begin, size),
                [&](std::string_view line) { seen.emplace_back(line); });
    }
    EXPECT_THAT(seen, ElementsAre("one", "", std::string("two\0", 4), longest, "last")) << size;
  }
}

TEST(PositionReportTest, BelievesNoMoreThanReceiversCan) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(positionReport(45, 7, 0.0)->horizontalAccuracy, Metres{5});
  EXPECT_EQ(positionReport(45, 7, nan)->horizontalAccuracy, Metres{5});
  EXPECT_EQ(positionReport(45, 7, 5.5)->horizontalAccuracy, Metres{5.5});
  EXPECT_TRUE(positionReport(-90, 180, 5));
  for (const auto& [latitude, longitude, uncertainty] :
       std::vector<std::tuple<double, double, double>>{
           {nan, 7, 5}, {45, nan, 5}, {90.1, 7, 5}, {45, -180.1, 5}, {45, 7, infinite}}) {
    EXPECT_EQ(positionReport(latitude, longitude, uncertainty), std::nullopt);
  }
}

TEST(GeoClueRequestTest, FollowsTheDemand) {
  EXPECT_EQ(geoClueRequest(Metres{10}, Seconds{1}), (GeoClueRequest{8, 1, 0}));
  EXPECT_EQ(geoClueRequest(Metres{100}, Seconds{30}), (GeoClueRequest{8, 10, 29}));
  EXPECT_EQ(geoClueRequest(Metres{500}, Seconds{300}), (GeoClueRequest{6, 50, 299}));
  EXPECT_EQ(geoClueRequest(Metres{1e300}, Seconds{1e300}), (GeoClueRequest{6, 1000, 3600}));
}

TEST(PositionChoiceTest, TellsTheMoreCertainFix) {
  using enum PositionSource;
  struct Step {
    PositionSource source;
    double uncertainty;
    double now;
    double age;
    bool told;
    double best;
    const char* why;
  };
  const std::vector<Step> steps = {
      {geoClue, 500, 0, 0, true, 500, "the only one"},
      {gpsd, 17, 1, 0, true, 17, "more certain"},
      {geoClue, 30, 2, 0, false, 17, "22 m are less than 30"},
      {geoClue, 30, 4, 0, true, 30, "32 m are more than 30"},
      {gpsd, 60, 5, 0, false, 30, "the other is as good as 35 m"},
      {gpsd, 59, 10, 0, true, 59, "less than 60 m"},
      {geoClue, 10, 10, 20, false, 59, "20 s old, as good as 110 m"},
      {geoClue, 3000, 20.5, 0, true, 3000, "the receiver fell silent"},
      {gpsd, 40, 21, 0, true, 40, "and is back"},
  };
  PositionChoice choice;
  EXPECT_EQ(choice.best(Seconds{0}), std::nullopt);
  const auto play = [&](const Step& step) {
    const Seconds now{step.now};
    const CLLocation fix{{45, 7}, Metres{step.uncertainty}, Date{}};
    EXPECT_EQ(choice.offer(step.source, fix, now - Seconds{step.age}, now), step.told) << step.why;
    EXPECT_EQ(choice.best(now)->horizontalAccuracy.value, step.best) << step.why;
  };
  for (const Step& step : steps) play(step);
  choice.forget(gpsd);
  EXPECT_EQ(choice.best(Seconds{21})->horizontalAccuracy, Metres{3000});
  EXPECT_TRUE(choice.best(Seconds{86400})) << "no change is no news";
  choice.forget(geoClue);
  EXPECT_EQ(choice.best(Seconds{21}), std::nullopt);
}

}  // namespace ks::test
