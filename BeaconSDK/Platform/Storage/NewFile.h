#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// Text as the bytes that the writers of files take.
inline std::span<const std::uint8_t> bytesOf(std::span<const char> text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// A file while it is being made. Its name ends in ".tmp", so that `removeUnfinishedFiles` finds
/// what a killed process left; it goes with this object unless it was moved to its final place.
class NewFile {
 public:
  /// Creates "STEM.N.tmp" in `folder`, which must exist: a new file, no links followed, readable
  /// and writable by its owner only (0600) under any umask.
  static Result<NewFile> create(const std::filesystem::path& folder, std::string_view stem);
  NewFile(NewFile&& other) noexcept;
  NewFile& operator=(NewFile&& other) noexcept;
  ~NewFile() { remove(); }

  /// Empty once the file was moved or removed.
  const std::filesystem::path& path() const { return path_; }
  /// Appends all of `bytes`. After an error the file is good for nothing but removal.
  [[nodiscard]] std::optional<Error> write(std::span<const std::uint8_t> bytes);
  /// Syncs the file, renames it to `target` on the same file system, replacing what is there, and
  /// syncs the folder of `target`. Not after `close`. After an error this file is still the
  /// owner's, or, when only the last step failed, already in place.
  [[nodiscard]] std::optional<Error> moveTo(const std::filesystem::path& target);
  /// Ends writing; the file stays until `remove`.
  void close() { descriptor_.close(); }
  /// Removes the file; it is no error that it is gone already.
  void remove();

 private:
  NewFile(std::filesystem::path path, FileDescriptor descriptor)
      : path_(std::move(path)), descriptor_(std::move(descriptor)) {}

  std::filesystem::path path_;
  FileDescriptor descriptor_;
};

}  // namespace ks
