#include <gmock/gmock.h>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Manager/Zones/KSCacheFile.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Common/ForwardingPlatform.h"
#include "tests/Support/PlatformFixture.h"

namespace ks {

using Haste = KSCacheFile::Haste;

/// A device whose files cannot be read for a while, and which counts what is written.
class CountingPlatform : public ForwardingPlatform {
 public:
  struct Files : DiskFileStore {
    using FileStore::read;
    std::optional<Error> write(const std::filesystem::path& path,
                               std::span<const std::uint8_t> bytes) override {
      ++writes;
      return DiskFileStore::write(path, bytes);
    }
    FileContent read(const std::filesystem::path& path, std::size_t limit) override {
      if (isReadable) return DiskFileStore::read(path, limit);
      return {FileContent::State::unreadable, {}, "no descriptors left"};
    }
    int writes = 0;
    bool isReadable = true;
  };
  using ForwardingPlatform::ForwardingPlatform;
  Files& files() override { return files_; }

 private:
  Files files_;
};

class KSCacheFileTest : public testing::PlatformFixture {
 protected:
  KSCacheFileTest() {
    Platform::install(device_);
    EXPECT_TRUE(KSCacheFile::createFolder());
  }
  std::unique_ptr<KSCacheFile> file(Haste haste) {
    return std::make_unique<KSCacheFile>(
        "locations.dat", haste, *device_, observer_, [this] { return Value(content_); },
        [this](const Value& stored) {
          for (const auto& [key, value] : *stored.dictionary()) {
            if (!content_.contains(key)) content_.set(key, value);
          }
        });
  }
  /// The keys on the disk, in their order.
  static std::string stored() {
    std::string keys;
    const Value root =
        loadCacheFile(NSFileManagerHelpers::cacheFilePath("KSProximityManager/locations.dat"));
    for (const auto& [key, value] : *root.dictionary()) keys += key;
    return keys;
  }
  void change(KSCacheFile& file, const std::string& key) {
    const auto record = std::make_shared<Error>("test", 1, key);
    content_.set(key, Array{record, record});
    file.saveSoon();
  }

  std::shared_ptr<CountingPlatform> device_ = std::make_shared<CountingPlatform>(*platform_);
  KSObserverSlot observer_;
  Dictionary content_;
};

TEST_F(KSCacheFileTest, ChangesAreWrittenTogether) {
  for (const Haste haste : {Haste::nextTurn, Haste::background}) {
    const auto cache = file(haste);
    device_->files().writes = 0;
    for (const char* key : {"a", "b", "c"}) change(*cache, key);
    advance(0);
    EXPECT_EQ(device_->files().writes, 1);
    EXPECT_EQ(stored(), "abc");
    cache->saveSoon();
    advance(2);
    EXPECT_EQ(device_->files().writes, 1) << "nothing has changed";
  }
  const auto cache = file(Haste::background);
  for (int reply = 0; reply < 300; ++reply) {
    change(*cache, std::to_string(reply));
    advance(0.01);
  }
  advance(1);
  EXPECT_LE(device_->files().writes, 6) << "one a second";
  EXPECT_TRUE(stored().ends_with("299"));
}

TEST_F(KSCacheFileTest, UnreadableFileIsMergedBeforeWriting) {
  auto cache = file(Haste::nextTurn);
  change(*cache, "a");
  cache.reset();
  EXPECT_EQ(stored(), "a") << "the end writes what waits";
  content_.clear();
  device_->files().isReadable = false;
  cache = file(Haste::nextTurn);
  cache->load();
  change(*cache, "b");
  advance(0);
  device_->files().isReadable = true;
  EXPECT_EQ(stored(), "a") << "not written over";
  change(*cache, "c");
  advance(0);
  EXPECT_EQ(stored(), "bca");
}

}  // namespace ks
