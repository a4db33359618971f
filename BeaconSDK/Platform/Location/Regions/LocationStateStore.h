#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/FileStore.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Storage/AppendFile.h"

namespace ks {

/// Stores the location engine's state, a few bytes per monitored region, between two runs. Main
/// queue only.
class LocationStateStore {
 public:
  virtual ~LocationStateStore() = default;
  /// Returns the state saved last; absent also if it was damaged. While it is unreadable, nothing
  /// must be saved.
  virtual FileContent load() = 0;
  /// Atomically replaces the saved state; false if it could not be written.
  virtual bool save(const Data& data) = 0;
  /// Returns the bytes appended since the last save, in order; the end may be torn.
  virtual Data loadJournal() { return {}; }
  /// Appends a few bytes to a journal, which `save` empties, at little cost. If it returns false,
  /// everything must be saved instead.
  virtual bool append(const Data&) { return false; }
};

/// A state store in one file, written durably, with a journal beside it ("FILE.journal"). A damaged
/// file is set aside with a line in the console.
class FileLocationStateStore : public LocationStateStore {
 public:
  /// The file's folder is created by the first save. `console` must outlive the store.
  FileLocationStateStore(std::filesystem::path path, Console& console)
      : path_(std::move(path)), journal_(path_.string() + ".journal"), console_(console) {}

  FileContent load() override;
  bool save(const Data& data) override;
  Data loadJournal() override;
  bool append(const Data& entries) override;

 private:
  std::filesystem::path path_;
  AppendFile journal_;
  Console& console_;
};

}  // namespace ks
