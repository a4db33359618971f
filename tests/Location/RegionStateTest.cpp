#include <gmock/gmock.h>

#include "BeaconSDK/Platform/Location/Regions/RegionStateFile.h"
#include "BeaconSDK/Platform/Simulated/SimulatedConsole.h"
#include "tests/Location/LocationFixture.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

class RegionStateTest : public test::LocationFixture {
 protected:
  /// Identifiers of the regions that these bytes hold.
  static std::vector<std::string> identifiers(std::span<const std::uint8_t> bytes) {
    std::vector<std::string> result;
    const auto regions = decodeRegions(bytes);
    if (!regions) return {"damaged"};
    for (const auto& region : *regions) result.push_back(region->region->identifier());
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
  const auto regions = decodeRegions(bytes).value();
  ASSERT_EQ(regions.size(), 2u);
  EXPECT_EQ(regions[0]->region->description(), door->description());
  EXPECT_FALSE(regions[0]->region->notifyOnExit());
  EXPECT_TRUE(regions[0]->region->notifyOnEntry());
  EXPECT_EQ(regions[1]->region->description(), circle(45, -7, 100)->description());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_THAT(identifiers(std::span(bytes).first(i)), ElementsAre("damaged")) << i;
    auto damaged = bytes;
    damaged[i] ^= 0x10;
    EXPECT_THAT(identifiers(damaged), ElementsAre("damaged")) << i;
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
  EXPECT_EQ(store_.saves, 1);
  EXPECT_EQ(store_.journal.size(), kChangeSize);
}

TEST_F(RegionStateTest, JournalKeepsStatesBesideTheList) {
  for (const char* const name : {"first", "park", "last"}) {
    monitor(circle(name == std::string("park") ? 45 : 46, 7, 100, name));
  }
  advance(1);
  const int saves = store_.saves;
  fix(45, 7, 5);
  advance(1);
  EXPECT_EQ(store_.saves, saves);
  const auto stateOfPark = [&](std::span<const std::uint8_t> journal) {
    const auto regions = decodeRegions(*store_.data);
    applyChanges(journal, listMark(*store_.data), *regions);
    return regions->at(1)->reported;
  };
  const auto journal = store_.journal;
  EXPECT_EQ(stateOfPark(journal), CLRegionState::inside);
  for (std::size_t i = 0; i < journal.size(); ++i) {
    EXPECT_EQ(stateOfPark(std::span(journal).first(i)), CLRegionState::unknown) << i;
    auto damaged = journal;
    damaged[i] ^= 0x10;
    EXPECT_EQ(stateOfPark(damaged), CLRegionState::unknown) << i;
  }
  kill();
  store_.journal.push_back(0);
  start();
  fix(45.1, 7, 5);
  EXPECT_THAT(take(), ElementsAre("outside park", "exit park"));
  advance(1);
  EXPECT_EQ(store_.saves, saves + 1) << "nothing is appended to a torn journal";
}

TEST_F(RegionStateTest, UnreadableStateIsMergedBeforeSaving) {
  monitor(circle(45, 7, 100, "earlier"));
  advance(1);
  kill();
  store_.readable = false;
  start();
  monitor(circle(45, 8, 100, "later"));
  advance(1);
  EXPECT_THAT(identifiers(*store_.data), ElementsAre("earlier")) << "not overwritten";
  store_.readable = true;
  monitor(circle(45, 9, 100, "last"));
  advance(2);
  EXPECT_THAT(identifiers(*store_.data), UnorderedElementsAre("earlier", "later", "last"));
}

TEST(FileLocationStateStoreTest, SetsDamagedFilesAside) {
  const test::TemporaryFolder folder;
  SimulatedConsole console;
  FileLocationStateStore store(folder / "deep" / "regions", console);
  EXPECT_EQ(store.load().state, FileContent::State::absent);
  const Data state = encodeRegions(RegionRegistry());
  EXPECT_TRUE(store.save(state));
  EXPECT_EQ(store.load().bytes, state);
  EXPECT_TRUE(store.append({1, 2}) && store.append({3}));
  EXPECT_EQ(store.loadJournal(), (Data{1, 2, 3}));
  EXPECT_TRUE(store.save(state));
  EXPECT_EQ(store.loadJournal(), Data{});
  test::writeText(folder / "deep" / "regions", "not regions");
  EXPECT_EQ(store.load().state, FileContent::State::absent);
  EXPECT_THAT(console.lines(), ElementsAre(HasSubstr("regions' is damaged and kept as")));
  EXPECT_EQ(test::readText(folder / "deep" / "regions.damaged"), "not regions");
}

}  // namespace
}  // namespace ks
