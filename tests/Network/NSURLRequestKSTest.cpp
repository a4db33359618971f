#include "BeaconSDK/Classes/Network/NSURLRequest+KS.h"
#include "tests/Network/PortalTest.h"

namespace ks::test {
namespace {

using namespace NSURLRequestKS;
using enum KSContentDownloadType;
using Texts = std::vector<std::string>;

const NSURL kRoot{"https://portal.test/app"};
const CLLocation kTurin{{45.0712345678, -7.68}, {}, {}};

class NSURLRequestKSTest : public PortalTest {};

TEST_F(NSURLRequestKSTest, BuildsEachReadRequest) {
  const std::vector<NSURLQueryItem> extra{{"dc", "3,7"}, {"_age", "30"}};
  const struct {
    NSURLRequest request;
    const char* url;
    KSContentDownloadType type;
  } cases[] = {
      {contentCategoryRequest(kRoot), "/contents/categories", contentCategories},
      {locationsRequest(kRoot, kTurin),
       "/locations?retrieveby=coordinate&latitude=45.071235&longitude=-7.680000&range=7",
       locations},
      {locationsRequest(kRoot, std::nullopt), "/locations?", locations},
      {beaconsUniqueIdentifiersRequest(kRoot, kTurin, 100000),
       "/beacons/unique-uuids?retrieveby=coordinate&latitude=45.071235&longitude=-7.680000"
       "&range=100000",
       zonesForLocation},
      {beaconsUniqueIdentifiersRequest(kRoot, std::nullopt, 0.1F), "/beacons/unique-uuids?",
       unknown},
      {proximityZonesForLocationRequest(kRoot, "l1", extra),
       "/beacons?retrieveby=location&location=l1&dc=3,7&_age=30", zonesForLocation},
      {beaconContentRequest(kRoot, {"A:1:2", "B:3:4"}, {}),
       "/beacons?retrieveby=identifiers&bid=A:1:2&bid=B:3:4", contentForBeacons},
      {prefetchGeofencesRequest(kRoot, kTurin),
       "/geofences?latitude=45.071235&longitude=-7.680000&range=7&retrieveby=coordinate",
       geofences},
  };
  for (const auto& [request, url, type] : cases) {
    EXPECT_EQ(request.url.absoluteString, kRoot.absoluteString + url);
    EXPECT_EQ(request.httpMethod, "GET");
    EXPECT_EQ(contentType(request), type) << url;
    EXPECT_TRUE(request.headers.find("User-Agent")) << url;
  }
}

TEST_F(NSURLRequestKSTest, EncodedValuesReadBackUnchanged) {
  const std::string odd = "a b&c=d+e#f%g;h,i:j?k/\xC3\xA8";
  const auto zones = proximityZonesForLocationRequest(kRoot, odd, {{"_a&b", ""}});
  EXPECT_EQ(zones.url.absoluteString,
            "https://portal.test/app/beacons?retrieveby=location"
            "&location=a%20b%26c%3Dd%2Be%23f%25g%3Bh,i:j?k/%C3%A8&_a%26b=");
  EXPECT_EQ(locationIdentifier(zones), odd);
  EXPECT_EQ(beaconIdentifiers(zones), Texts{});

  const auto content = beaconContentRequest(kRoot, {odd, "", "x"}, {});
  EXPECT_EQ(beaconIdentifiers(content), (Texts{odd, "", "x"}));
  EXPECT_EQ(locationIdentifier(content), std::nullopt);
}

TEST_F(NSURLRequestKSTest, AppendsToAnyRoot) {
  const std::pair<const char*, const char*> cases[] = {
      {"https://h/app/", "https://h/app/beacons/enter"},
      {"https://h", "https://h/beacons/enter"},
      {"https://h:8443/a%20b/c?key=1", "https://h:8443/a%20b/c/beacons/enter?key=1"},
      {"no url", "no url/beacons/enter"},
      {"", "/beacons/enter"},
  };
  for (const auto& [root, url] : cases) {
    EXPECT_EQ(enterProximityZoneRequest({root}, "beacons").url.absoluteString, url);
  }
  const auto broken = proximityZonesForLocationRequest({"no url"}, "l 1", {});
  EXPECT_EQ(broken.url.absoluteString, "no url/beacons?retrieveby=location&location=l%201");
  EXPECT_EQ(locationIdentifier(broken), "l 1");
}

TEST_F(NSURLRequestKSTest, ClassifiesByUrlTextInOrder) {
  const std::pair<const char*, KSContentDownloadType> cases[] = {
      {"https://h/locations/app/contents/categories", contentCategories},
      {"https://h/locations/app/geofences?latitude=1", locations},
      {"https://h/beacons/app/geofences", geofences},
      {"https://h/beacons?retrieveby=identifiers&location=1", contentForBeacons},
      {"https://h/beacons?_location=1", zonesForLocation},
      {"https://h/beacons/enter", unknown},
      {"https://h/other?latitude=1", unknown},
  };
  for (const auto& [url, type] : cases) {
    NSURLRequest request;
    request.url = {url};
    EXPECT_EQ(contentType(request), type) << url;
  }
}

TEST_F(NSURLRequestKSTest, CarriesDeviceHeaders) {
  auto request = defaultPostRequestWithUrl(kRoot);
  EXPECT_EQ(request.httpMethod, "POST");
  EXPECT_EQ(*request.headers.find("Content-Type"), "application/json");
  EXPECT_EQ(*request.headers.find("User-Agent"), "iOS 16.4; x86_64");
  EXPECT_EQ(*request.headers.find("X-KSL-UID"), "5A1D0E5C-0000-4000-8000-000000000002 IDFA");
  EXPECT_EQ(*request.headers.find("X-KSL-SdkVersion"), "ios v.1.0.0");

  platform->change([](SimulatedSettings& settings) {
    settings.advertisingTrackingEnabled = false;
    settings.systemVersion = "17";
    settings.libraryBundle.shortVersionString = "";
  });
  addCustomUserAgenttoRequest(request);
  EXPECT_EQ(*request.headers.find("User-Agent"), "iOS 17; x86_64");
  EXPECT_EQ(*request.headers.find("X-KSL-UID"), "5A1D0E5C-0000-4000-8000-000000000001 IDFV");
  const auto fresh = contentCategoryRequest(kRoot);
  EXPECT_FALSE(fresh.headers.find("X-KSL-SdkVersion"));
  EXPECT_FALSE(fresh.headers.find("Content-Type"));
  platform->change([](SimulatedSettings& settings) { settings.identifierForVendor = {}; });
  EXPECT_FALSE(contentCategoryRequest(kRoot).headers.find("X-KSL-UID"));
}

}  // namespace
}  // namespace ks::test
