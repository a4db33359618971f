#include <gmock/gmock.h>

#include <string>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZDeviceProperties.h"
#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZDevices.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks::test {

namespace {

GLibOwned<GVariant> parsed(const std::string& text, const char* type = "a{sv}") {
  return GLibOwned<GVariant>(
      g_variant_parse(G_VARIANT_TYPE(type), text.c_str(), nullptr, nullptr, nullptr));
}

/// A dictionary of `count` entries "KEY: <[byte 1]>", the number in the key as %zu.
std::string manyEntries(const char* type, const std::string& before, const std::string& after) {
  std::string text = std::string("<@") + type + " {";
  for (int i = 0; i < 100; ++i)
    text += (i > 0 ? ", " : "") + before + std::to_string(1000 + i) + after;
  return text + "}>";
}

}  // namespace

TEST(BlueZDevicePropertiesTest, ReadsWhatHasTheRightType) {
  struct {
    std::string text;
    bool heard;
    std::uint32_t skipped;
  } const cases[] = {
      {"{'RSSI': <int16 -60>, 'Name': <'x'>, 'TxPower': <[1, 2]>}", true, 0},
      {"{'RSSI': <-60>}", false, 1},
      {"{'RSSI': <[int16 -60]>}", false, 1},
      {"{'ManufacturerData': <{uint16 76: <[byte 2, 0x15]>}>}", true, 0},
      {"{'ManufacturerData': <{76: <[byte 2]>}>}", false, 1},
      {"{'ManufacturerData': <{uint16 76: <'text'>, 77: <[byte 1]>, 78: <<[byte 1]>>}>}", true, 2},
      {"{'ManufacturerData': <[byte 2]>}", false, 1},
      {"{'ServiceData': <{'0000d00d-0000-1000-8000-00805f9b34fb': <@ay []>}>}", true, 0},
      {"{'ServiceData': <{'': <[byte 1]>, '" + std::string(500, 'a') + "': <[byte 1]>}>}", true, 2},
      {"{'ServiceData': <{uint16 76: <[byte 2]>}>}", false, 1},
      {"{'UUIDs': <['0000d00d-0000-1000-8000-00805f9b34fb', '']>}", false, 1},
      {"{'UUIDs': <'0000d00d-0000-1000-8000-00805f9b34fb'>}", false, 1},
      {"{'Address': <'AA:BB'>}", false, 1},
      {"{'ManufacturerData': " + manyEntries("a{qv}", "", ": <[byte 1]>") + "}", true, 92},
      {"{'ServiceData': " + manyEntries("a{sv}", "'", "': <[byte 1]>") + "}", true, 92},
      {"{'ManufacturerData': <{uint16 76: <b'" + std::string(400, 'a') + "'>}>}", true, 1},
  };
  for (const auto& each : cases) {
    const auto properties = parsed(each.text);
    ASSERT_TRUE(properties) << each.text;
    Advertisement device;
    EXPECT_EQ(applyDeviceProperties(properties.get(), device), each.heard) << each.text;
    EXPECT_EQ(device.skippedElements, each.skipped) << each.text;
    EXPECT_LE(device.manufacturerData.size() + device.serviceData.size(), kMostDataPerDevice);
  }
}

TEST(BlueZDevicePropertiesTest, KeepsWhatIsNotRepeated) {
  Advertisement device;
  applyDeviceProperties(
      parsed("{'ManufacturerData': <{uint16 76: <[byte 2]>}>, 'RSSI': <int16 -50>, 'ServiceData': "
             "<{'0000d00d-0000-1000-8000-00805f9b34fb': <[byte 9]>}>}")
          .get(),
      device);
  applyDeviceProperties(parsed("{'RSSI': <int16 -70>}").get(), device);
  EXPECT_EQ(device.rssi, Dbm{-70});
  EXPECT_THAT(device.manufacturerData, testing::ElementsAre(ManufacturerData{76, {2}}));
  EXPECT_THAT(device.serviceData, testing::ElementsAre(ServiceData{{"D00D"}, {9}}));
  dropDeviceProperties(parsed("['RSSI', 'ManufacturerData', 'Other']", "as").get(), device);
  EXPECT_EQ(device.rssi, Dbm{0});
  EXPECT_THAT(device.manufacturerData, testing::IsEmpty());
  EXPECT_EQ(device.serviceData.size(), 1U);
}

TEST(BlueZDevicesTest, ForgetsTheLongestSilent) {
  BlueZDevices devices;
  const auto path = [](std::size_t i) { return "/org/bluez/hci0/dev_C0_" + std::to_string(i); };
  EXPECT_EQ(devices.heard(path(0)).address, "C0:0");
  for (std::size_t i = 1; i < 3 * BlueZDevices::kCapacity; ++i) {
    devices.heard(path(i));
    devices.heard(path(0));
  }
  EXPECT_EQ(devices.size(), BlueZDevices::kCapacity);
  EXPECT_NE(devices.find(path(0)), nullptr);
  EXPECT_EQ(devices.find(path(1)), nullptr);
  devices.forget(path(0));
  EXPECT_EQ(devices.find(path(0)), nullptr);
}

}  // namespace ks::test
