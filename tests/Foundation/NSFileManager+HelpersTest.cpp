#include <gmock/gmock.h>

#include <filesystem>

#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "tests/Support/PlatformFixture.h"

namespace ks {

using ::testing::UnorderedElementsAre;

class NSFileManagerHelpersTest : public testing::PlatformFixture {
 protected:
  std::filesystem::path temporary_ = platform_->directories().temporary;
};

TEST_F(NSFileManagerHelpersTest, PathsLieInTheirFolders) {
  const Directories& folders = platform_->directories();
  EXPECT_EQ(NSFileManagerHelpers::cacheFilePath("a/b.dat"), folders.caches / "a/b.dat");
  EXPECT_EQ(NSFileManagerHelpers::cacheFilePath("/etc"), folders.caches / "etc");
  EXPECT_EQ(NSFileManagerHelpers::documentsFilePath("x"), folders.documents / "x");
  EXPECT_EQ(NSFileManagerHelpers::tempFilePath("1-2.dat"), folders.temporary / "1-2.dat");
  EXPECT_FALSE(std::filesystem::exists(folders.caches / "a"));
}

TEST_F(NSFileManagerHelpersTest, ListsFoldersOnly) {
  const auto root = temporary_ / "list";
  std::filesystem::create_directories(root / "one");
  std::filesystem::create_directories(root / "two/inner");
  ASSERT_TRUE(writeFileAtomically(root / "file", Data{1}));
  EXPECT_THAT(NSFileManagerHelpers::directoryList(root),
              UnorderedElementsAre(root / "one", root / "two"));
  EXPECT_TRUE(NSFileManagerHelpers::directoryList(root / "missing").empty());
}

}  // namespace ks
