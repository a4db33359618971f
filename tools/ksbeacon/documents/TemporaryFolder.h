#pragma once

#include <filesystem>
#include <optional>
#include <utility>

#include "BeaconSDK/Platform/Storage/TemporaryFolder.h"

namespace ks::tool {

/// A private folder that goes with the object. Making it throws `std::runtime_error`.
class TemporaryFolder {
 public:
  TemporaryFolder();
  /// One in memory where the system offers it and `$TMPDIR` asks for nothing else: files of a
  /// simulated device are synced often, and nobody needs them after a power cut.
  static TemporaryFolder inMemory();
  const std::filesystem::path& path() const { return folder_->path(); }

 private:
  explicit TemporaryFolder(ks::TemporaryFolder folder) : folder_(std::move(folder)) {}

  std::optional<ks::TemporaryFolder> folder_;
};

}  // namespace ks::tool
