#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/FileStore.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Storage/AppendFile.h"

namespace ks {

/// Keeps the location engine's state, a few bytes per monitored region, between two runs. Main
/// queue only.
class LocationStateStore {
 public:
  virtual ~LocationStateStore() = default;
  /// What was saved last; absent also when that was damaged. While it is unreadable, nothing must
  /// be saved.
  virtual FileContent load() = 0;
  /// Replaces what was saved, wholly or not at all; false when it could not be written.
  virtual bool save(const Data& data) = 0;
  /// What was appended since the last save, in order; a torn end is possible.
  virtual Data loadJournal() { return {}; }
  /// Appends a few bytes beside what was saved, at little cost; `save` empties the journal. False
  /// when that could not be done: then everything is to be saved.
  virtual bool append(const Data&) { return false; }
};

/// A state store in one file, written durably, and a journal beside it ("FILE.journal"). A damaged
/// file is set aside with a line to the
/// console.
class FileLocationStateStore : public LocationStateStore {
 public:
  /// The file's folder is made when something is saved. `console` must outlive the store.
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
