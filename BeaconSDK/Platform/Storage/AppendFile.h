#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// A file that grows by small pieces: a journal beside a file that is costly to replace. Appended
/// pieces survive the process; a power cut may lose the last ones or tear one, so each piece must
/// be verifiable.
class AppendFile {
 public:
  explicit AppendFile(std::filesystem::path path) : path_(std::move(path)) {}

  /// Appends a piece by one write, without syncing. Creates a missing file, readable and writable
  /// by its owner only (0600); its folder must exist. After an error a torn piece may remain.
  [[nodiscard]] std::optional<Error> append(std::span<const std::uint8_t> piece);
  /// Removes the file, if there is one.
  void remove();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  FileDescriptor file_;
};

}  // namespace ks
