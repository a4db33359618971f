#pragma once

#include <filesystem>
#include <optional>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Keeps the location engine's state, a few bytes per monitored region, between two runs. Main
/// queue only.
class LocationStateStore {
 public:
  virtual ~LocationStateStore() = default;
  /// What was saved last; nothing when there is none or it cannot be read.
  virtual std::optional<Data> load() = 0;
  /// Replaces what was saved, wholly or not at all; false when it could not be written.
  virtual bool save(const Data& data) = 0;
};

/// A state store in one file, replaced by renaming a finished copy over it.
class FileLocationStateStore : public LocationStateStore {
 public:
  /// The file's folder is made when something is saved.
  explicit FileLocationStateStore(std::filesystem::path path) : path_(std::move(path)) {}

  std::optional<Data> load() override;
  bool save(const Data& data) override;

 private:
  std::filesystem::path path_;
};

}  // namespace ks
