#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// A file that grows at its end by small pieces: a journal beside a file that is costly to replace.
/// What was appended survives the process; a power cut may take the last pieces or tear one, so
/// each piece must be able to prove that it is whole.
class AppendFile {
 public:
  explicit AppendFile(std::filesystem::path path) : path_(std::move(path)) {}

  /// Creates the file when there is none, readable and writable by its owner only (0600); its
  /// folder must exist. A piece is written by one call and not synced. After an error a torn piece
  /// may remain.
  [[nodiscard]] std::optional<Error> append(std::span<const std::uint8_t> piece);
  /// Removes the file; it is no error that there is none.
  void remove();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  FileDescriptor file_;
};

}  // namespace ks
