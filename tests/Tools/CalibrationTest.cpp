#include <gmock/gmock.h>

#include "tools/ksbeacon/device/Calibration.h"

namespace ks::tool {
namespace {

const UUID kCalibrated = *UUID::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");

/// So many packets of one beacon whose strength alternates about the mean.
struct Heard {
  std::uint16_t minor;
  double power;
  double rssi;
  int packets;
};

std::string calibrate(const std::vector<Heard>& beacons) {
  Calibration calibration;
  for (const auto& [minor, power, rssi, packets] : beacons) {
    for (int i = 0; i < packets; ++i) {
      Advertisement packet;
      packet.rssi = {rssi + (i % 2 == 0 ? 3 : -3)};
      packet.manufacturerData = {makeBeaconData({kCalibrated, 1, minor, {power}})};
      calibration.hear(packet);
    }
  }
  const auto result = calibration.result();
  const auto* const found = std::get_if<ReceiverMeasurement>(&result);
  return found == nullptr ? std::get<std::string>(result) : measurementJson(*found);
}

TEST(CalibrationTest, MeasuresTheNearestBeacon) {
  using testing::HasSubstr;
  const Heard besides{2, -59, -80, 100};
  EXPECT_EQ(calibrate({besides, {1, -59, -65, 30}}),
            R"({"uuid":"E2C56DB5-DFFB-48D2-B060-D0F5A71096E0","major":1,"minor":1,)"
            R"("measuredPower":-59,"packets":30,"strength":-65,"deviation":3,"receiverGain":-6})");
  EXPECT_THAT(calibrate({besides, {1, -75, -72, 30}}), HasSubstr(R"("receiverGain":3})"));
  EXPECT_THAT(calibrate({besides, {1, -59, -65, 19}}), HasSubstr("only 19 packets"));
  EXPECT_THAT(calibrate({besides, {1, -75, -92, 30}}), HasSubstr("equally near"));
  EXPECT_THAT(calibrate({{1, -1, -65, 30}}), HasSubstr("set it up first"));
  // A radio that gives no strength says nothing.
  EXPECT_EQ(calibrate({{1, -59, 127, 30}}), "no beacon was heard");
}

}  // namespace
}  // namespace ks::tool
