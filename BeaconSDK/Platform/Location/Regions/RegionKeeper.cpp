#include "BeaconSDK/Platform/Location/Regions/RegionKeeper.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Location/Regions/RegionStateFile.h"

namespace ks {

namespace {

// Between two saves, however much happens.
constexpr Seconds kSavePause{1};
// A journal of more entries than this, and than there are regions, gives way to a new list.
constexpr std::size_t kLongJournal = 1024;

}  // namespace

void RegionKeeper::restore(std::function<void(const std::shared_ptr<MonitoredRegion>&)> insert) {
  insert_ = std::move(insert);
  read();
}

void RegionKeeper::read() {
  const FileContent saved = store_.load();
  restored_ = saved.state != FileContent::State::unreadable;
  const auto regions = decodeRegions(saved.bytes);
  if (!regions) return;
  listMark_ = listMark(saved.bytes);
  const auto journal = store_.loadJournal();
  journalEntries_ = journal.size() / kChangeSize;
  // Regions that began before the list could be read are not in it, and nothing is appended to a
  // torn journal.
  listIsSaved_ = applyChanges(journal, listMark_, *regions) && book_.all().empty();
  for (const auto& region : *regions) {
    if (!book_.find(region->region->identifier())) insert_(region);
  }
}

void RegionKeeper::listChanged() {
  listIsSaved_ = false;
  saveSoon();
}

void RegionKeeper::stateChanged(const MonitoredRegion& region) {
  changed_.insert(region.id);
  saveSoon();
}

void RegionKeeper::close() {
  if (saving_.isArmed()) save();
}

void RegionKeeper::saveSoon() {
  if (saving_.isArmed()) return;
  const auto earliest = lastSave_ ? *lastSave_ + kSavePause : clock_.uptime();
  saving_.arm(queue_, std::max(earliest - clock_.uptime(), Seconds{0}), [this] { save(); });
}

void RegionKeeper::save() {
  saving_.cancel();
  lastSave_ = clock_.uptime();
  // Saving over a state that could not be read would lose its regions.
  if (!restored_) read();
  if (!restored_ || !(appendChanges() || saveList())) failed_();
}

bool RegionKeeper::appendChanges() {
  const auto entries = journalEntries_ + changed_.size();
  if (!listIsSaved_ || entries > std::max(kLongJournal, book_.all().size())) return false;
  Data bytes;
  for (const auto id : changed_) {
    if (const auto region = book_.find(id)) appendChange(bytes, listMark_, *region);
  }
  if (!bytes.empty() && !store_.append(bytes)) return false;
  journalEntries_ = entries;
  changed_.clear();
  return true;
}

bool RegionKeeper::saveList() {
  std::uint32_t place = 0;
  for (const auto& [id, region] : book_.all()) region->place = place++;
  const auto bytes = encodeRegions(book_);
  listIsSaved_ = store_.save(bytes);
  if (!listIsSaved_) return false;
  listMark_ = listMark(bytes);
  journalEntries_ = 0;
  changed_.clear();
  return true;
}

}  // namespace ks
