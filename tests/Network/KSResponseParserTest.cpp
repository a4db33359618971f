#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Beacon/Content/KSVideoProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "tests/Network/PortalTest.h"

namespace ks::test {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class KSResponseParserTest : public PortalTest {
 protected:
  template <class Record, class Converter>
  static std::shared_ptr<Record> only(const std::string& element, Converter converter) {
    const auto records = KSResponseParser::records("[" + element + "]", converter);
    if (!records) throw std::runtime_error(records.error().description());
    return std::dynamic_pointer_cast<Record>(records->front());
  }
  std::shared_ptr<KSPrivateBeacon> zone(const std::string& members) const {
    return only<KSPrivateBeacon>("{" + members + "}", [&](const PortalObject& item) {
      return parser.convertToPrivateBeacon(item);
    });
  }
  std::shared_ptr<KSGeofence> geofence(const std::string& members) const {
    return only<KSGeofence>("{" + members + "}", [&](const PortalObject& item) {
      return parser.convertToGeofence(item);
    });
  }
  std::shared_ptr<KSProximityZoneContent> content(const std::string& members) const {
    return zone(R"("content":{)" + members + "}")->content();
  }

  const KSResponseParser parser;
};

TEST_F(KSResponseParserTest, ReadsCategoryAndLocation) {
  const auto category = only<KSProximityZoneContentCategory>(R"({"id":42,"name":"Food"})",
                                                             KSResponseParser::convertToCategory);
  EXPECT_EQ(category->identifier, "42");
  EXPECT_EQ(category->name, "Food");
  const auto location = only<KSLocation>(
      R"({"id":"l1","name":null,"latitude":45.0712345678,"longitude":"7.68",
          "refreshIntervalSeconds":3600.5})",
      KSResponseParser::convertToLocation);
  EXPECT_EQ(location->identifier, "l1");
  EXPECT_EQ(location->name, std::nullopt);
  EXPECT_EQ(location->latitude, 45.0712345678F);
  EXPECT_EQ(location->longitude, 7.68F);
  EXPECT_EQ(location->refreshInterval, 3600.5);
}

TEST_F(KSResponseParserTest, ReadsBeaconZone) {
  const auto read = zone(R"("id":"b1","location":{"id":7},"major":513,"minor":"20","name":"Hall",
      "uuid":"f7826da6-4fa2-4e98-8024-bc5b71e0893e","model":"m","manufacturer":"mf",
      "manufacturerId":12,"locationZone":"door","referenceId":true,"schedule":{"id":1,"name":"s"},
      "validUntil":"2026-05-04T12:03:27.1230000Z","content":{"type":"VIDEO"})");
  EXPECT_EQ(read->key(), "b1:F7826DA6-4FA2-4E98-8024-BC5B71E0893E_20_513");
  EXPECT_EQ(read->locationIdentifier(), "7");
  EXPECT_EQ(read->name(), "Hall");
  EXPECT_EQ(read->model(), "m");
  EXPECT_EQ(read->manufacturer(), "mf");
  EXPECT_EQ(read->manufacturerIdentifier(), "12");
  EXPECT_EQ(read->locationZone(), "door");
  EXPECT_EQ(read->refId(), "1");
  EXPECT_EQ(read->schedule()->identifier, "1");
  EXPECT_EQ(read->schedule()->name, "s");
  EXPECT_NEAR(secondsSince1970(*read->validUntil()), 1777896207.123, 1e-6);
  EXPECT_EQ(read->state(), KSPrivateBeaconState::contentFetched);
  EXPECT_TRUE(read->contentFetchedSince());
}

TEST_F(KSResponseParserTest, ReadsContent) {
  const auto html = std::dynamic_pointer_cast<KSHTMLProximityZoneContent>(content(
      R"("type":"HTML","id":5,"name":"n","message":"m","language":"it","title":"t","titleImageUrl":
      "u1","categoryId":9,"repeatDelaySeconds":0.1,"dwellingTimeSeconds":2.5,"proximity":"NEAR",
      "notifyAfterXEvents":3,"maxIntervalSeconds":59.9,"notifyOn":"ENTER","richMediaUrl":"u2",
      "messageIconUrl":"u3","pageUrl":"u4","videoUrl":"u5")"));
  ASSERT_TRUE(html);
  EXPECT_EQ(html->description(),
            "identifier: 5\nname: n\nmessage: m\nlanguage: it\ntitle: t\ntitleImageUrl: u1\n"
            "categoryIdentifier: 9\nrepeatDelay: 0.100000\ndwellingTime: 2.500000\nproximity: 2\n"
            "notifyAfterEventsCount: 3\nnotifyAfterEventsInterval: 59\neventIsEnter: 1\nurl: u4\n");
  EXPECT_EQ(html->repeatDelay, static_cast<double>(0.1F));
  EXPECT_EQ(html->richMediaUrl, "u2");
  EXPECT_EQ(html->messageIconUrl, "u3");
  const auto video =
      content(R"("type":"VIDEO","videoUrl":"u5","proximity":"near","notifyOn":"enter")");
  EXPECT_EQ(std::dynamic_pointer_cast<KSVideoProximityZoneContent>(video)->videoUrl, "u5");
  EXPECT_EQ(video->proximity, 0);
  EXPECT_FALSE(video->eventIsEnter);
  EXPECT_EQ(content(R"("type":"PUSH_TEXT")")->type(), KSProximityZoneType::textPush);
  EXPECT_EQ(content(R"("type":"FOLLOW_TRACK")")->type(), KSProximityZoneType::followTrack);
  for (const char* none : {R"("type":"html")", R"("type":1)", ""}) EXPECT_FALSE(content(none));
}

TEST_F(KSResponseParserTest, StateFollowsContentMember) {
  using enum KSPrivateBeaconState;
  EXPECT_EQ(zone("")->state(), noContent);
  EXPECT_EQ(zone(R"("content":null)")->state(), noContent);
  EXPECT_EQ(zone(R"("content":{"type":"odd"})")->state(), contentFetched);
  EXPECT_EQ(zone(R"("content":7)")->state(), contentFetched);
}

TEST_F(KSResponseParserTest, ReadsGeofence) {
  const auto full = geofence(R"("id":8,"name":"Park","latitude":45.5,"longitude":-7.25,"radius":100,
      "schedule":{"id":"s"},"content":{"type":"HTML"},"validUntil":"2026-05-04T12:03:27.0000000Z")");
  const auto& region = full->monitoringRegion();
  EXPECT_EQ(region->identifier(), "8");
  EXPECT_EQ(region->center(), (CLLocationCoordinate2D{45.5, -7.25}));
  EXPECT_EQ(region->radius(), Metres{100});
  EXPECT_TRUE(region->notifyOnEntry() && region->notifyOnExit());
  EXPECT_TRUE(full->content() && full->schedule() && full->validUntil());
  const auto nameless = geofence(R"("name":"Park","radius":100)");
  EXPECT_FALSE(nameless->monitoringRegion());
  EXPECT_EQ(nameless->name(), "Park");
}

TEST_F(KSResponseParserTest, OtherDateFormsAreNoDate) {
  for (const char* text : {"\"2026-05-04T12:03:27.123Z\"", "\"2026-05-04T12:03:27.1230000\"",
                           "\"2026-05-04T12:03:27+0200\"", "\"2026-13-04T12:03:27.1230000Z\"",
                           "\"x2026-05-04T12:03:27.1230000Z\"", "20260504", "{}"}) {
    EXPECT_FALSE(zone(std::string(R"("validUntil":)") + text)->validUntil()) << text;
  }
}

TEST_F(KSResponseParserTest, OddMembersReadAsDefaults) {
  const auto odd = zone(R"("id":[1],"name":{},"uuid":"F7826DA6","location":"l1","schedule":"s",
      "major":"x1","minor":"99999999999","model":1e5,"manufacturer":-0,"locationZone":false,
      "manufacturerId":0.0001)");
  EXPECT_FALSE(odd->identifier() || odd->name() || odd->uuid() || odd->locationIdentifier());
  EXPECT_FALSE(odd->schedule());
  EXPECT_EQ(odd->major(), 0);
  EXPECT_EQ(odd->minor(), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(odd->model(), "100000");
  EXPECT_EQ(odd->manufacturerIdentifier(), "0.0001");
  EXPECT_EQ(odd->manufacturer(), "0");
  EXPECT_EQ(odd->locationZone(), "0");
  const auto far = geofence(R"("id":1,"latitude":"-1e999","radius":"inf","longitude":" +1.5 m")");
  EXPECT_EQ(far->monitoringRegion()->center().latitude, std::numeric_limits<double>::lowest());
  EXPECT_EQ(far->monitoringRegion()->center().longitude, 1.5);
  EXPECT_EQ(far->monitoringRegion()->radius(), Metres{0});
  EXPECT_EQ(content(R"("type":"HTML","repeatDelaySeconds":1e300)")->repeatDelay,
            static_cast<double>(std::numeric_limits<float>::max()));
}

TEST_F(KSResponseParserTest, SanitizesNestedObjects) {
  const Dictionary inner{{"id", 1}, {"gone", Null{}}, {"deep", Dictionary{{"n", 2.5}}}};
  const Dictionary input{{"flag", true},
                         {"text", "t"},
                         {"inner", inner},
                         {"list", Array{1, Null{}, inner, Array{inner}}}};
  const Dictionary clean{{"id", "1"}, {"deep", Dictionary{{"n", "2.5"}}}};
  EXPECT_EQ(KSResponseParser::sanitizeDictionary(input),
            (Dictionary{{"flag", "1"},
                        {"text", "t"},
                        {"inner", clean},
                        {"list", Array{1, Null{}, clean, Array{inner}}}}));
}

TEST_F(KSResponseParserTest, ItemsOfBothSourcesAreEqual) {
  const std::string texts[] = {
      R"({"id":1,"id":"last","name":"n","name":null,"name":2,"content":null,"model":true})",
      R"({"id":-0,"name":1e400000,"uuid":18446744073709551615})",
      R"({"id":0.1,"name":5e-324,"model":-1e21,"major":9007199254740993})",
      R"({"content":{"type":"HTML","type":"VIDEO","id":"\u00e9\n","list":[{"id":1},[null,2]],
          "videoUrl":"u","dwellingTimeSeconds":1.50},"content2":{},"id":[{"id":3}],"":""})",
      R"({"location":{"id":{"id":4}},"schedule":{"id":7,"name":null},"validUntil":{}})"};
  for (const std::string& text : texts) {
    const auto parsed = NSJSONSerialization::JSONObjectWithData(text);
    const auto read = KSResponseParser::records("[" + text + "]", [&](const PortalObject& item) {
      return parser.convertToPrivateBeacon(item);
    });
    ASSERT_EQ(read.ok(), parsed.ok()) << text;
    if (!read) continue;
    const PortalItem item(KSResponseParser::sanitizeDictionary(*parsed->dictionary()));
    EXPECT_EQ(
        NSKeyedArchiver::archivedDataWithRootObject(read->front()),
        NSKeyedArchiver::archivedDataWithRootObject(parser.convertToPrivateBeacon(item.root())))
        << text;
  }
}

TEST_F(KSResponseParserTest, RejectsDocumentAsWhole) {
  const auto parse = [](const char* document) {
    return KSResponseParser::records(document, KSResponseParser::convertToCategory);
  };
  EXPECT_THAT(parse("[]").value(), IsEmpty());
  EXPECT_THAT(parse("[{},{}]").value(), SizeIs(2));
  for (const char* bad : {"", "{}", "null", "\"text\"", "[{},[]]", "[{},null]", "[{}", "[{}]]"}) {
    const auto outcome = parse(bad);
    ASSERT_FALSE(outcome) << bad;
    EXPECT_EQ(outcome.error().domain(), "com.example.application") << bad;
    EXPECT_EQ(outcome.error().code(), -1) << bad;
  }
}

TEST_F(KSResponseParserTest, LogsDocumentsOnlyWhileTracing) {
  zone(R"("id":1)");
  EXPECT_THAT(platform->console().lines(), IsEmpty());
  enableLogging = true;
  zone(R"("id":1)");
  enableLogging = false;
  EXPECT_THAT(platform->console().lines(), SizeIs(2));
}

}  // namespace
}  // namespace ks::test
