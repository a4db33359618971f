#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Storage/FolderLock.h"

namespace ks {

/// A folder that one session of one process has for itself while the object lives. The folder's
/// content stays for the next one.
class HttpCacheFolder {
 public:
  /// The folder named after `identifier` in `directory`, or the first of its numbered siblings that
  /// nobody uses; nothing when none can be had. What a killed process left unfinished is removed.
  static std::optional<HttpCacheFolder> acquire(const std::filesystem::path& directory,
                                                const std::string& identifier);

  const std::filesystem::path& path() const { return path_; }

 private:
  HttpCacheFolder(std::filesystem::path path, FolderLock lock)
      : path_(std::move(path)), lock_(std::move(lock)) {}

  std::filesystem::path path_;
  FolderLock lock_;
};

}  // namespace ks
