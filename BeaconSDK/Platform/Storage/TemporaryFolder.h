#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "BeaconSDK/Platform/Storage/FolderLock.h"

namespace ks {

/// A new folder for its owner only (0700) in the system's temporary directory, removed with its
/// content on destruction.
class TemporaryFolder {
 public:
  /// Creates "PREFIX-XXXXXX" in `$TMPDIR` or "/tmp". Removes folders of the same prefix that killed
  /// processes left.
  static Result<TemporaryFolder> make(std::string_view prefix);
  /// As `make`, in memory where the system offers that and `$TMPDIR` asks for nothing else: for
  /// files that are synced often and that nobody needs after a power cut.
  static Result<TemporaryFolder> makeInMemory(std::string_view prefix);
  /// The same in the folder `base`.
  static Result<TemporaryFolder> make(std::string_view prefix, const std::filesystem::path& base);
  TemporaryFolder(TemporaryFolder&& other) noexcept;
  TemporaryFolder& operator=(TemporaryFolder&& other) noexcept;
  ~TemporaryFolder() { remove(); }

  const std::filesystem::path& path() const { return path_; }
  /// Removes the folder now. Ignores errors.
  void remove();

 private:
  TemporaryFolder(std::filesystem::path path, FolderLock lock)
      : path_(std::move(path)), lock_(std::move(lock)) {}

  std::filesystem::path path_;
  std::optional<FolderLock> lock_;
};

}  // namespace ks
