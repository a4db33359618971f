#include "BeaconSDK/Platform/Location/Regions/RegionStateFile.h"
#include "tests/Location/LocationFixture.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks {
namespace {

class RegionStateTest : public test::LocationFixture {
 protected:
  /// Identifiers of the regions that these bytes hold.
  static std::vector<std::string> identifiers(std::span<const std::uint8_t> bytes) {
    std::vector<std::string> result;
    for (const auto& region : decodeRegions(bytes)) result.push_back(region->region->identifier());
    return result;
  }
};

TEST_F(RegionStateTest, SurvivesWholeOrNotAtAll) {
  auto door = std::make_shared<CLBeaconRegion>(kUUID, "door", 1, std::nullopt);
  door->setNotifyOnExit(false);
  monitor(door);
  monitor(circle(45, -7, 100));
  advance(1);
  const auto bytes = *store_.data;
  const auto regions = decodeRegions(bytes);
  ASSERT_EQ(regions.size(), 2u);
  EXPECT_EQ(regions[0]->region->description(), door->description());
  EXPECT_FALSE(regions[0]->region->notifyOnExit());
  EXPECT_TRUE(regions[0]->region->notifyOnEntry());
  EXPECT_EQ(regions[1]->region->description(), circle(45, -7, 100)->description());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_TRUE(identifiers(std::span(bytes).first(i)).empty()) << i;
    auto damaged = bytes;
    damaged[i] ^= 0x10;
    EXPECT_TRUE(identifiers(damaged).empty()) << i;
  }
}

TEST_F(RegionStateTest, IsSavedOnChangesOnly) {
  for (int i = 0; i < 1000; ++i) {
    manager_->startMonitoringForRegion(circle(45, 7, 100, std::to_string(i)));
  }
  manager_->startMonitoringForRegion(beaconRegion());
  run();
  EXPECT_EQ(store_.saves, 1);
  advance(10);
  for (int second = 0; second < 3600; ++second) {
    hear();
    fix(50, 7, 10);
    advance(1);
  }
  // The one change: the beacon region was entered.
  EXPECT_EQ(store_.saves, 2);
}

TEST(FileLocationStateStoreTest, ReplacesFileWhole) {
  const test::TemporaryFolder folder;
  FileLocationStateStore store(folder / "deep" / "regions");
  EXPECT_EQ(store.load(), std::nullopt);
  EXPECT_TRUE(store.save({1, 2, 3}));
  EXPECT_TRUE(store.save({4}));
  EXPECT_EQ(store.load(), (Data{4}));
  test::writeText(folder / "file", "not a folder");
  FileLocationStateStore blocked(folder / "file" / "regions");
  EXPECT_FALSE(blocked.save({1}));
}

}  // namespace
}  // namespace ks
