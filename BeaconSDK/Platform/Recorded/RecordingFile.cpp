#include "BeaconSDK/Platform/Recorded/RecordingFile.h"

#include <zstd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace ks {

namespace {

/// Fast, and within a tenth of what slower levels save on what radios report.
constexpr int kLevel = 3;
constexpr std::size_t kHeadSize = 4;
/// Of a file that is read or copied.
constexpr std::size_t kPiece = std::size_t{1024} * 1024;

Error damaged(const std::string& what) { return {"Recording", 1, what}; }

Result<Data> compressed(std::span<const std::uint8_t> content) {
  const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context(ZSTD_createCCtx(),
                                                                     ZSTD_freeCCtx);
  ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, kLevel);
  ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
  Data block(kHeadSize + ZSTD_compressBound(content.size()));
  const std::size_t size = ZSTD_compress2(context.get(), block.data() + kHeadSize,
                                          block.size() - kHeadSize, content.data(), content.size());
  if (ZSTD_isError(size)) return damaged(ZSTD_getErrorName(size));
  for (std::size_t i = 0; i < kHeadSize; ++i) block[i] = static_cast<std::uint8_t>(size >> (8 * i));
  block.resize(kHeadSize + size);
  return block;
}

/// Exactly `size` bytes, piece by piece: a length that lies costs no memory.
std::optional<Data> readExactly(std::istream& stream, std::size_t size) {
  Data bytes;
  while (bytes.size() < size) {
    const std::size_t begin = bytes.size();
    bytes.resize(std::min(size, begin + kPiece));
    stream.read(reinterpret_cast<char*>(bytes.data() + begin),
                static_cast<std::streamsize>(bytes.size() - begin));
    if (static_cast<std::size_t>(stream.gcount()) != bytes.size() - begin) return std::nullopt;
  }
  return bytes;
}

}  // namespace

Result<RecordingFileWriter> RecordingFileWriter::create(const std::filesystem::path& path) {
  RecordingFileWriter writer(path);
  writer.file_.remove();
  const std::span mark(reinterpret_cast<const std::uint8_t*>(kRecordingMark.data()),
                       kRecordingMark.size());
  if (auto error = writer.file_.append(mark)) return *error;
  writer.size_ = mark.size();
  return writer;
}

Result<RecordingFileWriter> RecordingFileWriter::resume(const std::filesystem::path& path,
                                                        std::uintmax_t size) {
  std::error_code error;
  std::filesystem::resize_file(path, size, error);
  if (error) return damaged("'" + path.string() + "': " + error.message());
  RecordingFileWriter writer(path);
  writer.size_ = size;
  return writer;
}

std::optional<Error> RecordingFileWriter::dropFront(std::uintmax_t offset) {
  const std::filesystem::path unfinished = file_.path().string() + ".tmp";
  AppendFile shorter(unfinished);
  shorter.remove();
  std::ifstream stream(file_.path(), std::ios::binary);
  Data piece(kRecordingMark.begin(), kRecordingMark.end());
  std::optional<Error> error = shorter.append(piece);
  stream.seekg(static_cast<std::streamoff>(offset));
  for (std::uintmax_t left = size_ - offset; left > 0 && !error; left -= piece.size()) {
    piece.resize(static_cast<std::size_t>(std::min<std::uintmax_t>(left, kPiece)));
    stream.read(reinterpret_cast<char*>(piece.data()), static_cast<std::streamsize>(piece.size()));
    error = stream ? shorter.append(piece) : damaged("the recording cannot be read");
  }
  std::error_code failure;
  if (!error) std::filesystem::rename(unfinished, file_.path(), failure);
  if (failure) error = damaged(failure.message());
  if (error) {
    shorter.remove();
    return error;
  }
  file_ = AppendFile(file_.path());
  size_ = size_ - offset + kRecordingMark.size();
  return std::nullopt;
}

std::optional<Error> RecordingFileWriter::append(std::span<const std::uint8_t> content) {
  if (error_) return error_;
  if (content.size() > kLargestRecordingBlock) return error_ = damaged("the block is too large");
  const auto block = compressed(content);
  error_ = block ? file_.append(*block) : block.error();
  if (!error_) size_ += block->size();
  return error_;
}

Result<RecordingFileReader> RecordingFileReader::open(const std::filesystem::path& path) {
  auto stream = std::make_unique<std::ifstream>(path, std::ios::binary);
  if (!*stream) return Error("Recording", 2, "'" + path.string() + "' cannot be read");
  std::array<char, kRecordingMark.size()> mark{};
  stream->read(mark.data(), mark.size());
  if (std::string_view(mark.data(), static_cast<std::size_t>(stream->gcount())) != kRecordingMark) {
    return damaged("'" + path.string() + "' is no recording");
  }
  return RecordingFileReader(std::move(stream));
}

std::optional<Data> RecordingFileReader::next() {
  const auto head = readExactly(*stream_, kHeadSize);
  if (!head) {
    isWhole_ = stream_->gcount() == 0;
    return std::nullopt;
  }
  std::size_t size = 0;
  for (std::size_t i = 0; i < kHeadSize; ++i)
    size |= static_cast<std::size_t>((*head)[i]) << (8 * i);
  if (size > kLargestRecordingBlock) return std::nullopt;
  const auto frame = readExactly(*stream_, size);
  if (!frame) return std::nullopt;
  const auto length = ZSTD_getFrameContentSize(frame->data(), frame->size());
  // Includes the numbers that stand for an unknown size and for damage.
  if (length > kLargestRecordingBlock) return std::nullopt;
  Data content(static_cast<std::size_t>(length));
  const std::size_t got =
      ZSTD_decompress(content.data(), content.size(), frame->data(), frame->size());
  if (ZSTD_isError(got) || got != content.size()) return std::nullopt;
  position_ += kHeadSize + size;
  return content;
}

}  // namespace ks
