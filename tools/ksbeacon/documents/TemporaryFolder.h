#pragma once

#include <filesystem>
#include <optional>

#include "BeaconSDK/Platform/Storage/TemporaryFolder.h"

namespace ks::tool {

/// A private folder that goes with the object. Making it throws `std::runtime_error`.
class TemporaryFolder {
 public:
  TemporaryFolder();
  const std::filesystem::path& path() const { return folder_->path(); }

 private:
  std::optional<ks::TemporaryFolder> folder_;
};

}  // namespace ks::tool
