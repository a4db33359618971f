#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "BeaconSDK/Platform/Storage/FolderLock.h"
#include "BeaconSDK/Platform/Storage/TemporaryFolder.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks {

using ::testing::HasSubstr;

TEST(FolderLockTest, NamesTheOwner) {
  const test::TemporaryFolder root;
  {
    const auto lock = FolderLock::acquire(root.path());
    ASSERT_TRUE(lock);
    const auto second = FolderLock::acquire(root.path());
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error().code(), EWOULDBLOCK);
    EXPECT_THAT(second.error().localizedDescription(),
                HasSubstr("in use by process " + std::to_string(::getpid()) + " ("));
  }
  EXPECT_TRUE(FolderLock::acquire(root.path()));
  EXPECT_EQ(FolderLock::acquire(root / "missing").error().code(), ENOENT);
}

TEST(FolderLockTest, TemporaryFoldersOfTheDeadAreRemoved) {
  const std::string prefix = "kstest" + std::to_string(::getpid());
  const auto living = TemporaryFolder::make(prefix);
  const auto name = living->path() / "name";
  const pid_t child = ::fork();
  if (child == 0) {
    const auto killed = TemporaryFolder::make(prefix);
    std::filesystem::create_symlink(killed->path(), name);
    ::_exit(0);
  }
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(std::filesystem::exists(std::filesystem::read_symlink(name)));
  EXPECT_TRUE(TemporaryFolder::make(prefix));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::read_symlink(name)));
  EXPECT_TRUE(std::filesystem::exists(living->path()));
}

}  // namespace ks
