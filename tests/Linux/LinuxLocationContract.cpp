#include <memory>

#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "tests/Contract/PlatformContract.h"
#include "tests/Linux/PositionServices.h"

namespace ks::test {

namespace {

/// The platform with the machine's GeoClue, whose only receiver is where the test says.
class LinuxWithGeoClue : public PlatformUnderTest {
 public:
  LinuxWithGeoClue() {
    geoClue_.offer(bus_);
    EXPECT_TRUE(geoClue_.startAgent());
    restart();
  }
  Platform& platform() override { return *platform_; }
  void runFor(Seconds span) override { runLoopFor(span); }
  void moveTo(CLLocationCoordinate2D place) override {
    receiver_.follow({{place.latitude, place.longitude}});
  }
  void restart() override {
    platform_.reset();
    LinuxPlatformOptions options;
    options.folders =
        LinuxFolders{{folder_.path() / "caches", folder_.path() / "documents", {}}, folder_.path()};
    platform_ = std::make_unique<LinuxPlatform>(options);
  }

 private:
  PrivateBus bus_;
  TemporaryFolder folder_;
  NmeaTrack receiver_{"unix", 5};
  RealGeoClue geoClue_{receiver_, LinuxPlatformOptions().bundleIdentifier};
  std::unique_ptr<LinuxPlatform> platform_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Linux, LocationContract,
                         testing::Values(PlatformParameter{
                             "geoclue", [] { return std::make_unique<LinuxWithGeoClue>(); },
                             [] { return RealGeoClue::reasonNotTo(); }}));

}  // namespace ks::test
