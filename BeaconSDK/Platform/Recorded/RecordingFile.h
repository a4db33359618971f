#pragma once

#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"
#include "BeaconSDK/Platform/Storage/AppendFile.h"

namespace ks {

/// A recording on disk: a mark of eight bytes, then blocks. A block is the length of its content in
/// four bytes, little-endian, and a zstd frame with the content's size and checksum.
inline constexpr std::string_view kRecordingMark = "KSREC\x01\r\n";

/// Maximum size of a block: a little more than the largest reply as text.
inline constexpr std::size_t kLargestRecordingBlock = std::size_t{160} * 1024 * 1024;

/// Appends blocks to a file. One thread.
class RecordingFileWriter {
 public:
  /// Creates the file for its owner only (0600), replacing an existing one.
  static Result<RecordingFileWriter> create(const std::filesystem::path& path);

  /// Continues a file after its first `size` bytes, which are whole blocks; drops the rest.
  static Result<RecordingFileWriter> resume(const std::filesystem::path& path, std::uintmax_t size);

  std::uintmax_t size() const { return size_; }
  /// Removes the blocks before `offset`, where a block begins. An error leaves the file unchanged.
  [[nodiscard]] std::optional<Error> dropFront(std::uintmax_t offset);

  /// Writes one block immediately. After an error nothing more is written, because readers accept a
  /// torn block only at the end.
  [[nodiscard]] std::optional<Error> append(std::span<const std::uint8_t> content);

 private:
  explicit RecordingFileWriter(const std::filesystem::path& path) : file_(path) {}

  AppendFile file_;
  std::uintmax_t size_ = 0;
  std::optional<Error> error_;
};

/// Reads a recording block by block. One thread.
class RecordingFileReader {
 public:
  /// Returns an error if the file is not a recording.
  static Result<RecordingFileReader> open(const std::filesystem::path& path);
  /// Reads any stream, for tests of the format.
  explicit RecordingFileReader(std::unique_ptr<std::istream> stream) : stream_(std::move(stream)) {}

  /// Returns the next whole block; absent at the end, and at the first block that is torn or
  /// damaged.
  std::optional<Data> next();
  /// True if the file ended with a whole block. Call it after `next` has returned nothing.
  bool isWhole() const { return isWhole_; }
  /// Offset in the file after the last block that `next` returned.
  std::uintmax_t position() const { return position_; }

 private:
  std::unique_ptr<std::istream> stream_;
  bool isWhole_ = false;
  std::uintmax_t position_ = kRecordingMark.size();
};

}  // namespace ks
