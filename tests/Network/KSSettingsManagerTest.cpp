#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"
#include "tests/Network/PortalTest.h"

namespace ks::test {
namespace {

using enum KSContentDownloadType;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

std::shared_ptr<KSProximityZoneContentCategory> category(const std::string& identifier) {
  auto category = std::make_shared<KSProximityZoneContentCategory>();
  category->identifier = identifier;
  category->name = "name " + identifier;
  return category;
}

ks::Records list(const Texts& identifiers) {
  RecordList<KSProximityZoneContentCategory> records;
  for (const auto& identifier : identifiers) records.push_back(category(identifier));
  return records;
}

Texts identifiers(const KSSettingsManager::Categories& categories) {
  Texts found;
  for (const auto& category : categories) found.push_back(category->identifier.value_or("none"));
  return found;
}

class KSSettingsManagerTest : public PortalTest {
 protected:
  KSSettingsManagerTest() {
    std::filesystem::create_directories(folder());
    restart();
  }
  std::filesystem::path folder() const {
    return platform->directories().caches / "KSProximityManager";
  }
  void restart() { settings = KSSettingsManager::initWithNetwork(network, platform->mainQueue()); }
  void damage(const char* file) { std::ofstream(folder() / file) << "bplist00 damaged"; }

  std::shared_ptr<KSSettingsManager> settings;
};

TEST_F(KSSettingsManagerTest, FirstListEnablesEveryCategory) {
  EXPECT_THAT(settings->disabledCategories(), IsEmpty());
  settings->enableContentCategory(*category("A"), true);
  EXPECT_FALSE(settings->contentCategoryEnabledForIdentifier("A"));
  settings->newContentLoadedWithType(locations, list({"X"}));
  settings->newContentLoadedWithType(contentCategories, list({"A", "B"}));
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(identifiers(settings->contentCategories()), (Texts{"-100", "A", "B"}));
    EXPECT_EQ(settings->contentCategories().front()->name, "new");
    for (const char* identifier : {"-100", "A", "B"}) {
      EXPECT_TRUE(settings->contentCategoryEnabledForIdentifier(identifier)) << identifier;
    }
    restart();
  }
}

TEST_F(KSSettingsManagerTest, LaterListKeepsChoices) {
  settings->newContentLoadedWithType(contentCategories, list({"A", "B"}));
  settings->enableContentCategory(*category("A"), true);
  settings->enableContentCategory(KSProximityZoneContentCategory{}, true);
  settings->enableContentCategory(*category("A"), false);
  settings->newContentLoadedWithType(contentCategories, list({"A", "B", "C"}));
  settings->newContentLoadedWithType(contentCategories, ks::Records{});
  restart();
  EXPECT_EQ(identifiers(settings->contentCategories()), (Texts{"-100", "A", "B", "C"}));
  EXPECT_EQ(identifiers(settings->disabledCategories()), (Texts{"A", "C"}));
}

TEST_F(KSSettingsManagerTest, TagsSurviveRestart) {
  EXPECT_EQ(settings->tags(), Dictionary{});
  settings->deleteTag("missing");
  settings->setTag("sex", "f");
  settings->setTag("age", "30");
  settings->setTag("sex", "m");
  const auto snapshot = settings->tags();
  settings->deleteTag("age");
  EXPECT_EQ(snapshot, (Dictionary{{"sex", "m"}, {"age", "30"}}));
  restart();
  EXPECT_EQ(settings->tags(), (Dictionary{{"sex", "m"}}));
  settings->clearTags();
  restart();
  EXPECT_EQ(settings->tags(), Dictionary{});
  EXPECT_TRUE(std::filesystem::exists(folder() / "KSAppTags.dat"));
}

TEST_F(KSSettingsManagerTest, DamagedFilesCountAsAbsent) {
  settings->setTag("sex", "f");
  settings->newContentLoadedWithType(contentCategories, list({"A"}));
  damage("KSAppTags.dat");
  damage("KSAppCategories.dat");
  damage("KSAppSettings.dat");
  restart();
  EXPECT_EQ(settings->tags(), Dictionary{});
  EXPECT_THAT(settings->contentCategories(), IsEmpty());
  settings->newContentLoadedWithType(contentCategories, list({"B"}));
  EXPECT_TRUE(settings->contentCategoryEnabledForIdentifier("B"));
  // The tags' archive in the categories' place.
  std::filesystem::copy_file(folder() / "KSAppSettings.dat", folder() / "KSAppCategories.dat",
                             std::filesystem::copy_options::overwrite_existing);
  restart();
  EXPECT_THAT(settings->contentCategories(), IsEmpty());
}

TEST_F(KSSettingsManagerTest, RefreshAnswersLatestCallerOnMainQueue) {
  Texts calls;
  const auto caller = [&](std::string name) {
    return [&calls, name](const std::optional<Error>& error) {
      calls.push_back(name + (error ? " " + std::to_string(error->code()) : ""));
    };
  };
  settings->refresh(caller("replaced"));
  settings->refresh(caller("first"));
  EXPECT_EQ(http->waitingURLs().size(), 2U);
  settings->newContentLoadErrorWithType(locations, Error("d", 1, "other kind"));
  settings->newContentLoadedWithType(contentCategories, ks::Records{});
  EXPECT_THAT(calls, IsEmpty());
  platform->runUntilIdle();
  settings->refresh(caller("second"));
  settings->newContentLoadErrorWithType(contentCategories, Error("d", 7, "failed"));
  settings->newContentLoadedWithType(contentCategories, ks::Records{});
  platform->runUntilIdle();
  EXPECT_THAT(calls, ElementsAre("first", "second 7"));
}

TEST_F(KSSettingsManagerTest, ThreadsMaySetFirstTags) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      settings->setTag("tag" + std::to_string(i), "v");
      settings->newContentLoadedWithType(contentCategories, list({"A"}));
      settings->disabledCategories();
    });
  }
  for (auto& thread : threads) thread.join();
  restart();
  EXPECT_EQ(settings->tags().size(), 4U);
}

}  // namespace
}  // namespace ks::test
