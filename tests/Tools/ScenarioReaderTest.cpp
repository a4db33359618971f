#include <gmock/gmock.h>

#include <set>
#include <string>
#include <variant>
#include <vector>

#include "tools/ksbeacon/scenario/GpxTrack.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/scenario/Visitor.h"

namespace ks::tool {
namespace {

using testing::StartsWith;

/// A scenario that holds one of everything; tests spoil it one text at a time.
const std::string kGood = R"({
  "start": "2026-05-04T11:00:00+02:00",
  "until": "0:10:00",
  "origin": {"latitude": 45, "longitude": 7},
  "portal": {"documents": ".", "faults": [{"kind": "status", "status": 401, "to": 20}]},
  "application": {"bundleIdentifier": "com.example.a-1", "tags": {"age": "30"}, "disabledCategories": ["2"]},
  "beacons": [
    {"at": {"east": 100, "north": 0}, "uuid": "11223344-5566-4778-8899-AABBCCDDEEFF",
     "major": 1, "minor": 2, "on": 10, "off": 20,
     "battery": {"layout": "name", "tag": "BK01", "level": 9}}
  ],
  "walk": {
    "from": {"latitude": 45, "longitude": 7},
    "steps": [{"pause": 5}, {"to": {"east": 70}, "speed": 2}],
    "outages": [{"from": 1, "to": 2}]
  },
  "events": [{"at": 30, "do": "setTag", "tag": "a", "value": "b"}],
  "expect": [{"content": "c", "from": 10, "never": true}],
  "population": {"days": 2, "visits": [{"days": 2}],
    "phones": [{"weight": 2, "bluetooth": false}],
    "arrivals": [{"from": "0:01:00", "to": "0:05:00"}],
    "places": [{"name": "gate", "at": {"east": 9}, "entry": 1, "stay": [5, 9], "ways": [{"to": "hall"}]},
      {"name": "hall", "at": {"east": 20}, "ways": [{"to": "gate"}, {"leave": true, "weight": 3}]}]},
  "devices": [{"name": "anna"}, {"name": "ben", "walk": {"from": {"east": 5}}, "locale": "it_IT"}]
})";

std::string spoiled(const std::string& good, const std::string& bad) {
  std::string text = kGood;
  const std::size_t at = text.find(good);
  EXPECT_NE(at, std::string::npos) << good;
  return text.replace(at, good.size(), bad);
}

std::string messageFor(const std::string& text) {
  const auto read = readScenario(text, "s.json");
  const auto* const error = std::get_if<InputError>(&read);
  return error == nullptr ? "accepted" : error->message();
}

TEST(ScenarioReaderTest, ReadsEveryMember) {
  const auto read = readScenario(kGood, "s.json");
  ASSERT_TRUE(std::holds_alternative<Scenario>(read)) << std::get<InputError>(read).message();
  const Scenario& scenario = std::get<Scenario>(read);
  EXPECT_EQ(dateDescription(scenario.start), "2026-05-04 09:00:00 +0000");
  EXPECT_EQ(scenario.until.count(), 600);
  ASSERT_EQ(scenario.beacons.size(), 1U);
  const SimulatedBeacon& radio = scenario.beacons[0].radio;
  EXPECT_NEAR(distanceBetween(scenario.walk.stops[0].coordinate, radio.coordinate).value, 100,
              0.01);
  EXPECT_FALSE(radio.isOn(scenario.start + Seconds{9}));
  EXPECT_TRUE(radio.isOn(scenario.start + Seconds{10}));
  EXPECT_FALSE(radio.isOn(scenario.start + Seconds{20}));
  ASSERT_EQ(scenario.walk.stops.size(), 2U);
  EXPECT_EQ(scenario.walk.stops[0].pause.count(), 5);
  EXPECT_EQ(scenario.walk.stops[1].speed.value, 2);
  EXPECT_EQ(scenario.faults.at(0).to.count(), 20);
  EXPECT_EQ(scenario.expectations.at(0).times, 0);
  EXPECT_EQ(scenario.expectations.at(0).to.count(), 600);
  ASSERT_EQ(scenario.devices.size(), 2U);
  EXPECT_EQ(scenario.devices[0].walk.stops.size(), 2U) << "the scenario's";
  EXPECT_EQ(scenario.devices[1].walk.stops.size(), 1U);
  EXPECT_EQ(scenario.devices[1].country + scenario.devices[1].application.tags.at(0).second,
            "IT30");
  EXPECT_EQ(scenario.devices[1].events.size(), 1U);
}

TEST(ScenarioReaderTest, NamesThePlaceOfEachMistake) {
  const struct {
    std::string good, bad, place;
  } cases[] = {
      {"\"until\": \"0:10:00\"", "\"until\": 0", "3: until: expected seconds from 1 to 31622400"},
      {"2026-05-04T11", "2026-02-30T11", "2: start: expected a date"},
      {"\"documents\": \".\"", "\"documents\": \"nowhere\"",
       "5: portal.documents: expected a folder"},
      {"\"status\": 401", "\"status\": 200", "5: portal.faults[0].status: expected a whole number"},
      {"\"until\"", "\"timeZone\": \"Europe/Roma\", \"until\"",
       "3: timeZone: expected a time zone"},
      {"\"major\": 1", "\"major\": 65536",
       "9: beacons[0].major: expected a whole number from 0 to 65535, got 65536"},
      {"\"major\": 1, ", "",
       "8: beacons[0].major: expected a whole number from 0 to 65535; it is missing"},
      {"11223344-", "", "8: beacons[0].uuid: expected a UUID"},
      {"\"east\": 100,", "\"latitude\": 1,", "8: beacons[0].at.north: expected either degrees"},
      {"\"off\": 20", "\"off\": 5", "9: beacons[0].off: expected seconds from 10 to 600"},
      {"{\"pause\": 5}", "{}", "14: walk.steps[0]: expected either \"to\" or \"pause\""},
      {"\"value\": \"b\"", "\"content\": \"b\"", "17: events[0].value: expected a text"},
      {"\"never\": true", "\"never\": 1", "18: expect[0].never: expected true or false"},
      {"\"content\": \"c\"", "\"refusal\": \"mood\"", "18: expect[0].refusal: expected one of"},
      {"\"events\"", "\"event\"", "17: event: expected no such member; known are $schema, title"},
      {"\"do\": \"setTag\", \"tag\": \"a\", \"value\": \"b\"",
       "\"do\": \"setBattery\", \"beacon\": \"door\", \"level\": 9",
       " events[0].beacon: expected a beacon with a \"battery\""},
      {"\"content\": \"c\"", "\"engine\": \"runing\"",
       "18: expect[0].engine: expected one of running, starting, stopped, got \"runing\"; did you "
       "mean \"running\"?"},
      {"\"kind\": \"status\", \"status\": 401", "\"kind\": \"latency\", \"delay\": 1, \"age\": 1",
       "5: portal.faults[0].age: expected no such member with \"latency\""},
      {"\"name\": \"ben\"", "\"name\": \"anna\"", "24: devices[1].name: expected another name"},
      {"\"content\": \"c\"", "\"content\": \"c\", \"device\": \"bem\"",
       "18: expect[0].device: expected one of the devices, got \"bem\"; did you mean \"ben\"?"},
      {"\"content\": \"c\"", "\"entered\": \"c\"", "18: expect[0]: expected an event \"look\""},
      {"{\"to\": \"hall\"}", "{\"to\": \"hal\"}",
       "22: population.places[0].ways[0].to: expected the name of a place; did you mean \"hall\"?"},
      {"\"name\": \"hall\"", "\"name\": \"gate\"",
       "23: population.places[1].name: expected a name"},
      {"{\"leave\": true, \"weight\": 3}", "{\"leave\": true, \"weight\": 0}",
       "22: population.places: expected a way from \"gate\" to a place where visitors leave"},
      {"\"entry\": 1, ", "", "22: population.places: expected at least one with \"entry\" above 0"},
      {"\"weight\": 2", "\"weight\": 0", "20: population.phones: expected at least one"},
      {"\"visits\": [{\"days\": 2}]", "\"visits\": [{\"days\": 3}]",
       "19: population.visits[0].days: expected a whole number from 1 to 2, got 3"},
      {"\"0:05:00\"", "\"0:15:00\"",
       "21: population.arrivals[0].to: expected seconds from 60 to 600"},
      {"[5, 9]", "[9, 5]",
       "22: population.places[0].stay: expected a number from 0 to 21600 s, or"},
      {"\"origin\": {\"latitude\": 45, \"longitude\": 7},", "",
       "8: beacons[0].at: expected degrees, because the scenario has no \"origin\""},
  };
  for (const auto& each : cases) {
    EXPECT_THAT(messageFor(spoiled(each.good, each.bad)), StartsWith("s.json:" + each.place));
  }
}

TEST(ScenarioReaderTest, MakesVisitorsFromTheirNumbersAlone) {
  const Scenario scenario = std::get<Scenario>(readScenario(kGood, "s.json"));
  std::set<double> starts;
  for (std::uint64_t number = 1; number <= 50; ++number) {
    const Scenario visitor = visitorOf(scenario, number);
    const Scenario again = visitorOf(scenario, number);
    EXPECT_EQ(visitor.seed, again.seed);
    EXPECT_EQ(visitor.start, again.start);
    const Seconds late = visitor.start - scenario.start;
    EXPECT_TRUE(late >= Seconds{60} && late <= Seconds{300}) << late.count();
    starts.insert(late.count());
    // Bluetooth goes off at once, and the application is dead between the two days.
    ASSERT_EQ(visitor.events.size(), 2U);
    EXPECT_EQ(visitor.events[0].kind, Scenario::Event::Kind::setBluetooth);
    EXPECT_EQ(visitor.events[1].kind, Scenario::Event::Kind::restart);
    EXPECT_GT(visitor.events[1].downtime, Seconds{12 * 3600});
    const SimulatedWalk walk(visitor.start, visitor.walk.stops);
    EXPECT_EQ(walk.end() + visitor.walk.stops.back().pause + Seconds{60},
              visitor.start + visitor.until);
    // A fault of the first 20 seconds is over before anybody comes.
    EXPECT_TRUE(visitor.faults.empty() && visitor.expectations.empty());
  }
  EXPECT_EQ(starts.size(), 50U);
}

TEST(ScenarioReaderTest, RefusesBrokenDocuments) {
  const std::string deep(40, '[');
  const struct {
    std::string text, message;
  } cases[] = {
      {"", "s.json:1: expected JSON: the document ends too early"},
      {"{\"start\":\n\n", "s.json:2: expected JSON: the document ends too early"},
      {"{\n\"a\": 1,\n\"a\": 2}", "s.json:3: a: expected this member only once"},
      {"{}\n\n{}", "s.json:3: expected JSON: something stands after the end of the document"},
      {"[1]", "s.json:1: expected an object, got a list"},
      {deep, "s.json:1: expected JSON: lists and objects nest deeper than 32"},
      {"{\"title\": \"\xff\"}", "s.json:1: expected JSON: syntax error"},
      {std::string(5 << 20, ' '), "s.json: expected at most 4 MiB"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(messageFor(each.text), each.message) << each.text.substr(0, 40);
  }
  const auto missing = readScenarioFile("no/such/file.json");
  EXPECT_THAT(std::get<InputError>(missing).message(), StartsWith("no/such/file.json: "));
  const auto folder = readScenarioFile("/");
  EXPECT_EQ(std::get<InputError>(folder).message(), "/: expected a file; this is a folder");
}

TEST(GpxTrackTest, ReadsTracksRoutesAndPoints) {
  const auto track = [](const std::string& points) {
    return parseGpxTrack("<gpx>\n" + points + "</gpx>", "t.gpx");
  };
  const std::string wpt = "<wpt lat='9' lon='9'/>";
  const struct {
    std::string points;
    std::size_t count;
    double first;
  } good[] = {
      {wpt + "<trk><trkseg><trkpt lat='1' lon='2'/></trkseg><trkseg><trkpt lat='3' lon='4'/>"
             "</trkseg></trk>",
       2, 1},
      {wpt + "<rte><rtept lat='-5.5' lon='2'><time>2026-05-04T09:00:00.25Z</time></rtept></rte>", 1,
       -5.5},
      {wpt, 1, 9},
  };
  for (const auto& each : good) {
    const auto read = track(each.points);
    ASSERT_TRUE(std::holds_alternative<std::vector<TrackPoint>>(read)) << each.points;
    const auto& points = std::get<std::vector<TrackPoint>>(read);
    EXPECT_EQ(points.size(), each.count) << each.points;
    EXPECT_EQ(points[0].coordinate.latitude, each.first) << each.points;
  }
  const std::string nine = "<wpt lat='1' lon='2'>\n<time>2026-05-04T09:00:00Z</time></wpt>";
  const std::string eight = "<wpt lat='1' lon='2'><time>2026-05-04T08:00:00Z</time></wpt>";
  const struct {
    std::string points, message;
  } bad[] = {
      {"", "t.gpx: expected a trkpt, an rtept or a wpt; there is none"},
      {"<wpt lat='91' lon='2'/>", "t.gpx:2: wpt: expected lat from -90 to 90"},
      {"<wpt lat='1' lon='nan'/>", "t.gpx:2: wpt: expected lat from -90 to 90"},
      {nine + wpt, "t.gpx:3: wpt: expected a time on every point or on none"},
      {nine + eight, "t.gpx:3: wpt: expected a time not before the point before"},
      {"<wpt lat='1' lon='2'><time>noon</time></wpt>", "t.gpx:2: time: expected a date"},
      {"\n<wpt", "t.gpx:3: expected XML: Error parsing start element tag"},
  };
  for (const auto& each : bad) {
    const auto read = track(each.points);
    ASSERT_TRUE(std::holds_alternative<InputError>(read)) << each.points;
    EXPECT_THAT(std::get<InputError>(read).message(), StartsWith(each.message));
  }
}

}  // namespace
}  // namespace ks::tool
