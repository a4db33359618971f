#include <gtest/gtest.h>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {
namespace {

const BeaconFrame kFrame{*UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF"), 300, 7, {-59}};

Data beaconBytes() {
  Data bytes{0x02, 0x01, 0x06, 0x1A, 0xFF, 0x4C, 0x00};
  const auto data = makeBeaconData(kFrame).bytes;
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}

TEST(AdvertisementTest, ReadsBeaconFrames) {
  const auto parsed = parseAdvertisement("AA", beaconBytes(), {-70});
  ASSERT_EQ(parsed.manufacturerData.size(), 1u);
  EXPECT_EQ(parsed.skippedElements, 0u);
  EXPECT_EQ(readBeaconFrame(parsed.manufacturerData[0]).frame, kFrame);
  const auto& bytes = parsed.manufacturerData[0].bytes;
  EXPECT_EQ(Data(bytes.begin() + 18, bytes.end()), (Data{0x01, 0x2C, 0x00, 0x07, 0xC5}));
}

TEST(AdvertisementTest, RefusesOtherManufacturerData) {
  const auto good = makeBeaconData(kFrame);
  struct Case {
    const char* name;
    std::function<void(ManufacturerData&)> change;
    bool malformed;
  };
  const Case cases[] = {
      {"another company", [](auto& data) { data.company = 0x004D; }, false},
      {"another type", [](auto& data) { data.bytes[0] = 0x10; }, false},
      {"nothing", [](auto& data) { data.bytes.clear(); }, false},
      {"type alone", [](auto& data) { data.bytes.resize(1); }, true},
      {"another length", [](auto& data) { data.bytes[1] = 0x14; }, true},
      {"truncated", [](auto& data) { data.bytes.pop_back(); }, true},
      {"padded", [](auto& data) { data.bytes.push_back(0); }, true},
  };
  for (const auto& test : cases) {
    auto data = good;
    test.change(data);
    const auto reading = readBeaconFrame(data);
    EXPECT_FALSE(reading.frame) << test.name;
    EXPECT_EQ(reading.malformed, test.malformed) << test.name;
  }
}

TEST(AdvertisementTest, SkipsAndCountsBadElements) {
  struct Case {
    const char* name;
    Data bytes;
    std::size_t manufacturers, serviceData, services, skipped;
  };
  const Case cases[] = {
      {"empty", {}, 0, 0, 0, 0},
      {"flags only", {2, 0x01, 6}, 0, 0, 0, 0},
      {"padding", {2, 0x01, 6, 0, 0, 0}, 0, 0, 0, 1},
      {"truncated element", {5, 0xFF, 0x4C, 0x00}, 0, 0, 0, 1},
      {"length without type", {1}, 0, 0, 0, 1},
      {"company cut short, next one read", {2, 0xFF, 0x4C, 3, 0xFF, 1, 0}, 1, 0, 0, 1},
      {"service data cut short", {2, 0x16, 0x0D}, 0, 0, 0, 1},
      {"service data of no bytes", {3, 0x16, 0x0D, 0xD0}, 0, 1, 0, 0},
      {"odd service list", {4, 0x03, 1, 2, 3}, 0, 0, 0, 1},
      {"two services", {5, 0x03, 1, 2, 3, 4}, 0, 0, 2, 0},
      {"data of a 32-bit service", {6, 0x20, 1, 2, 3, 4, 9}, 0, 1, 0, 0},
  };
  for (const auto& test : cases) {
    const auto parsed = parseAdvertisement("", test.bytes, {0});
    EXPECT_EQ(parsed.manufacturerData.size(), test.manufacturers) << test.name;
    EXPECT_EQ(parsed.serviceData.size(), test.serviceData) << test.name;
    EXPECT_EQ(parsed.services.size(), test.services) << test.name;
    EXPECT_EQ(parsed.skippedElements, test.skipped) << test.name;
  }
}

TEST(AdvertisementTest, NamesServicesShortly) {
  EXPECT_EQ(serviceIdentifier(0xD00D).UUIDString, "D00D");
  EXPECT_EQ(serviceIdentifier("0000d00d-0000-1000-8000-00805f9b34fb").UUIDString, "D00D");
  EXPECT_EQ(serviceIdentifier("1234d00d-0000-1000-8000-00805f9b34fb").UUIDString, "1234D00D");
  const Data bytes{19, 0x21, 0xFB, 0x34, 0x9B, 0x5F, 0x80, 0x00, 0x00, 0x80,
                   0,  0x11, 0,    0,    0x0D, 0xD0, 0,    0,    7,    8};
  const auto parsed = parseAdvertisement("", bytes, {0});
  ASSERT_EQ(parsed.serviceData.size(), 1u);
  EXPECT_EQ(parsed.serviceData[0].service.UUIDString, "0000D00D-0000-1100-8000-00805F9B34FB");
  EXPECT_EQ(parsed.serviceData[0].bytes, (Data{7, 8}));
}

}  // namespace
}  // namespace ks
