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

/// The arrays of records that a root consists of.
std::vector<ks::Value> arraysIn(const ks::Value& root) {
  std::vector<ks::Value> arrays;
  if (root.array() != nullptr) arrays.push_back(root);
  if (const ks::Dictionary* const entries = root.dictionary()) {
    for (const auto& [key, value] : *entries) {
      if (value.array() != nullptr) arrays.push_back(value);
    }
  }
  return arrays;
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
  if (isDirty_ && !isDiscarded_) saveNow();
}

void KSCacheFile::discard() {
  isDiscarded_ = true;
  isDirty_ = false;
  alarm_.invalidate();
  const std::lock_guard lock(writing_->mutex);
  writing_->isCancelled = true;
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
  if (isDiscarded_) return;
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
  arrays_ = arraysIn(root_);
  next_ = {};
  writing_->isDone = false;
  encodeSlice();
}

void KSCacheFile::encodeSlice() {
  const bool isFirst = next_.array == 0 && next_.record == 0;
  for (std::size_t left = kSlice; left > 0 && next_.array < arrays_.size(); --left) {
    const ks::Value& array = arrays_[next_.array];
    const auto& records = array.array()->items;
    if (next_.record < records.size()) {
      archiver_->prepareObject(records[next_.record++]);
    } else {
      archiver_->prepareObject(array);
      next_ = {next_.array + 1, 0};
    }
  }
  if (next_.array == arrays_.size()) return startWriting();
  // Growing what is large would take many slices' time at once; a quarter to spare, since later
  // records may share less.
  if (const auto slices = 1 + recordCount() / kSlice; isFirst) {
    archiver_->reserveTimes(slices + slices / 4);
  }
  alarm_.schedule(ks::Seconds{0}, [this] { encodeSlice(); });
}

std::size_t KSCacheFile::recordCount() const {
  std::size_t count = 0;
  for (const ks::Value& array : arrays_) count += array.array()->items.size();
  return count;
}

void KSCacheFile::startWriting() {
  archiver_->encodeObject(std::exchange(root_, {}), ks::NSKeyedArchiveRootObjectKey);
  arrays_.clear();
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
