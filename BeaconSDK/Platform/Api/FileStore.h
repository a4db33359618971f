#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Domain of errors whose code is an `errno` value.
inline constexpr const char* NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// The result of reading a file.
struct FileContent {
  enum class State {
    /// `bytes` holds the whole file.
    whole,
    /// There is no such file.
    absent,
    /// Not a regular file, or longer than the limit. Callers treat damaged content alike: they set
    /// the file aside and continue as if it were absent.
    damaged,
    /// The file exists but could not be read this time (no descriptors left, no permission, disk
    /// error). It must not be overwritten before a later read has succeeded.
    unreadable,
  };
  State state = State::absent;
  Data bytes;
  /// Describes the problem for people and names the file; empty when the file is whole or absent.
  std::string problem;
};

/// Files that must survive a crash and a power cut. Any thread.
class FileStore {
 public:
  virtual ~FileStore() = default;

  /// Default limit of a read: many times the archive of 100,000 zones, and small enough to be held
  /// in memory.
  static constexpr std::size_t kLongestFile = std::size_t{256} * 1024 * 1024;

  /// Replaces the file at `path` atomically and durably. The new file is readable and writable by
  /// its owner only (0600); a link at `path` is replaced, not followed. Its folder must exist.
  /// After an error the old file is in place and nothing else is left; only if the last step
  /// failed, the sync of the folder, the new file is in place.
  [[nodiscard]] virtual std::optional<Error> write(const std::filesystem::path& path,
                                                   std::span<const std::uint8_t> bytes) = 0;
  /// Never blocks: a pipe or device in the place of a file counts as damaged.
  virtual FileContent read(const std::filesystem::path& path, std::size_t limit) = 0;
  FileContent read(const std::filesystem::path& path) { return read(path, kLongestFile); }
  /// Renames the file to `path` with ".damaged" appended, replacing an earlier one. Returns the
  /// outcome as the end of a log line: "kept as FILE", "cannot be set aside: REASON".
  virtual std::string setAside(const std::filesystem::path& path) = 0;
};

}  // namespace ks
