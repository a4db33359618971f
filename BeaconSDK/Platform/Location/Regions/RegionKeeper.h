#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"

namespace ks {

/// Keeps the monitored regions in the store: the whole list when regions begin or end, a few bytes
/// in its journal when only states change. At most once a second, however much happens.
class RegionKeeper {
 public:
  /// `failed` is called for each attempt to save that failed.
  RegionKeeper(Clock& clock, DispatchQueue& queue, LocationStateStore& store,
               const RegionRegistry& book, std::function<void()> failed)
      : clock_(clock), queue_(queue), store_(store), book_(book), failed_(std::move(failed)) {}

  /// Calls `insert` with each region of earlier runs that is not in the book. A state that cannot
  /// be read now is read again before anything is saved.
  void restore(std::function<void(const std::shared_ptr<MonitoredRegion>&)> insert);
  /// Regions began or ended.
  void listChanged();
  /// What is kept of a region besides its shape has changed.
  void stateChanged(const MonitoredRegion& region);
  /// Saves what is unsaved.
  void close();

 private:
  void read();
  void saveSoon();
  void save();
  bool saveList();
  bool appendChanges();

  Clock& clock_;
  DispatchQueue& queue_;
  LocationStateStore& store_;
  const RegionRegistry& book_;
  std::function<void()> failed_;
  std::function<void(const std::shared_ptr<MonitoredRegion>&)> insert_;

  bool restored_ = false;
  bool listIsSaved_ = false;
  /// Of the list that the journal belongs to.
  std::uint32_t listMark_ = 0;
  std::size_t journalEntries_ = 0;
  std::set<std::uint64_t> changed_;
  Wakeup saving_;
  std::optional<Seconds> lastSave_;
};

}  // namespace ks
