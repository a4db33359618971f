#include "BeaconSDK/Classes/Manager/Zones/KSCacheFile.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <system_error>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Platform/Api/Object.h"

namespace {

/// Between two writes in the background, however much changes: a refresh of all locations replaces
/// the zones of one location per reply.
constexpr ks::Seconds kPause{1};
/// Encoded in about a millisecond.
constexpr std::size_t kSlice = 200;

void collectRecords(const ks::Value& value, std::vector<ks::Value>& records) {
  if (value.object()) records.push_back(value);
  if (const ks::Array* const array = value.array()) {
    for (const ks::Value& item : array->items) collectRecords(item, records);
  }
  if (const ks::Dictionary* const entries = value.dictionary()) {
    for (const auto& [key, item] : *entries) collectRecords(item, records);
  }
}

}  // namespace

KSCacheFile::KSCacheFile(std::string name, Haste haste, ks::Platform& platform,
                         const KSObserverSlot& observer, Source source, Restore restore)
    : name_(std::move(name)),
      haste_(haste),
      platform_(platform),
      observer_(observer),
      source_(std::move(source)),
      restore_(std::move(restore)),
      alarm_(platform.mainQueue()) {}

bool KSCacheFile::createFolder() {
  const auto folder = ks::NSFileManagerHelpers::cacheFilePath("KSProximityManager");
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return !error && std::filesystem::is_directory(folder, error);
}

KSCacheFile::~KSCacheFile() {
  {
    const std::lock_guard lock(writing_->mutex);
    writing_->isCancelled = true;
    if (archiver_ && !writing_->isDone) isDirty_ = true;
  }
  if (isDirty_) saveNow();
}

std::filesystem::path KSCacheFile::path() const {
  return ks::NSFileManagerHelpers::cacheFilePath("KSProximityManager/" + name_);
}

void KSCacheFile::load() {
  isUnread_ = true;
  restored();
}

bool KSCacheFile::restored() {
  if (!isUnread_) return true;
  const ks::CacheContent content = ks::readCacheFile(path());
  isUnread_ = content.isUnreadable;
  if (!isUnread_) restore_(content.value);
  return !isUnread_;
}

void KSCacheFile::saveSoon() {
  isDirty_ = true;
  if (archiver_ || alarm_.isScheduled()) return;
  const bool waits = haste_ == Haste::background && lastWrite_;
  const auto pause = waits ? *lastWrite_ + kPause - platform_.clock().uptime() : ks::Seconds{0};
  alarm_.schedule(std::max(pause, ks::Seconds{0}),
                  [this] { haste_ == Haste::background ? begin() : saveNow(); });
}

void KSCacheFile::saveNow() {
  isDirty_ = false;
  if (!restored()) return ended(false);
  ks::NSKeyedArchiver archiver;
  archiver.encodeObject(source_(), ks::NSKeyedArchiveRootObjectKey);
  ended(write(archiver, path(), *writing_));
}

void KSCacheFile::begin() {
  isDirty_ = false;
  if (!restored()) return ended(false);
  archiver_ = std::make_shared<ks::NSKeyedArchiver>();
  root_ = source_();
  collectRecords(root_, records_);
  encoded_ = 0;
  writing_->isDone = false;
  encodeSlice();
}

void KSCacheFile::encodeSlice() {
  const std::size_t end = std::min(encoded_ + kSlice, records_.size());
  for (; encoded_ < end; ++encoded_) archiver_->prepareObject(records_[encoded_]);
  if (encoded_ == records_.size()) return startWriting();
  alarm_.schedule(ks::Seconds{0}, [this] { encodeSlice(); });
}

void KSCacheFile::startWriting() {
  archiver_->encodeObject(std::exchange(root_, {}), ks::NSKeyedArchiveRootObjectKey);
  records_.clear();
  platform_.globalQueue().async([this, archiver = archiver_, path = path(), writing = writing_,
                                 &main = platform_.mainQueue()] {
    const std::lock_guard lock(writing->mutex);
    if (writing->isCancelled) return;
    const auto success = write(*archiver, path, *writing);
    writing->isDone = true;
    main.async([this, success, writing] {
      if (!writing->isCancelled) ended(success);
    });
  });
}

void KSCacheFile::ended(std::optional<bool> success) {
  archiver_.reset();
  lastWrite_ = platform_.clock().uptime();
  const auto observer = observer_.get();
  if (observer && success) observer->cacheWritten({name_, *success});
  if (isDirty_ && !writing_->isCancelled) saveSoon();
}

std::optional<bool> KSCacheFile::write(ks::NSKeyedArchiver& archiver,
                                       const std::filesystem::path& path, Writing& writing) {
  const ks::Data bytes = archiver.encodedData();
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const std::size_t hash = std::hash<std::string_view>{}(text);
  if (bytes.empty()) return false;
  if (writing.lastHash == hash) return std::nullopt;
  const bool success = ks::writeFileAtomically(path, bytes);
  writing.lastHash = success ? std::optional(hash) : std::nullopt;
  return success;
}
