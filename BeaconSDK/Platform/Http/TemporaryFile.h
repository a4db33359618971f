#pragma once

#include <cstddef>
#include <filesystem>

#include "BeaconSDK/Platform/Api/Result.h"

namespace ks {

/// A new file that only its owner may read, gone with the object.
class TemporaryFile {
 public:
  /// Makes the folder too when it is missing.
  static Result<TemporaryFile> create(const std::filesystem::path& folder);
  TemporaryFile(TemporaryFile&& other) noexcept;
  TemporaryFile& operator=(TemporaryFile&& other) noexcept;
  ~TemporaryFile() { remove(); }

  const std::filesystem::path& path() const { return path_; }
  /// False when not all could be written.
  [[nodiscard]] bool write(const void* bytes, std::size_t count);
  /// Ends writing; the file stays.
  void close();
  /// Ends the file itself; it is no error that it is gone already.
  void remove();

 private:
  TemporaryFile(std::filesystem::path path, int descriptor)
      : path_(std::move(path)), descriptor_(descriptor) {}

  std::filesystem::path path_;
  int descriptor_;
};

}  // namespace ks
