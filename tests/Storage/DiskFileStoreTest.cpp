#include <gtest/gtest.h>
#include <sys/stat.h>

#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks {

namespace fs = std::filesystem;
using test::readText;
using test::writeText;
using State = FileContent::State;

namespace {

unsigned modeOf(const fs::path& path) {
  return static_cast<unsigned>(fs::symlink_status(path).permissions());
}

}  // namespace

TEST(DiskFileStoreTest, WritesForTheOwnerUnderAnyUmask) {
  const test::TemporaryFolder root;
  const fs::path file = root / "new/below/file";
  for (const mode_t mask : {0000, 0027, 0777}) {
    const mode_t before = ::umask(mask);
    const auto refused = makePrivateFolder(file.parent_path());
    const auto error = DiskFileStore().write(file, Data{1, 2});
    ::umask(before);
    EXPECT_FALSE(refused || error) << mask;
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(file.parent_path()), 0700U);
    EXPECT_EQ(DiskFileStore().read(file).bytes, (Data{1, 2}));
    fs::remove_all(root / "new");
  }
}

TEST(DiskFileStoreTest, FollowsNoLinkWhenWriting) {
  const test::TemporaryFolder root;
  writeText(root / "other", "theirs");
  fs::create_symlink(root / "other", root / "file");
  EXPECT_FALSE(DiskFileStore().write(root / "file", Data{'o'}));
  EXPECT_EQ(readText(root / "other"), "theirs");
  EXPECT_EQ(readText(root / "file"), "o");
  EXPECT_FALSE(fs::is_symlink(root / "file"));
}

TEST(DiskFileStoreTest, NeverWaitsForWhatIsNoFile) {
  const test::TemporaryFolder root;
  DiskFileStore store;
  ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
  fs::create_directory(root / "folder");
  writeText(root / "long", "12345");
  for (const std::string name : {"pipe", "folder", "long"}) {
    const FileContent content = store.read(root / name, 4);
    EXPECT_EQ(content.state, State::damaged) << name;
    EXPECT_NE(content.problem.find(name), std::string::npos);
    EXPECT_EQ(store.setAside(root / name), "kept as " + (root / name).string() + ".damaged");
    EXPECT_EQ(store.read(root / name, 4).state, State::absent);
  }
  EXPECT_EQ(store.read("/dev/zero").state, State::damaged);
  EXPECT_EQ(store.read(root / "long.damaged" / "below").state, State::absent);
}

}  // namespace ks
