#include "BeaconSDK/Platform/Storage/DiskFileStore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "BeaconSDK/Platform/Storage/FileErrors.h"
#include "BeaconSDK/Platform/Storage/NewFile.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

using State = FileContent::State;

FileContent unreadable(const fs::path& path) {
  return {State::unreadable, {}, fileError("read", path).localizedDescription()};
}

FileContent tooLong(const fs::path& path, std::size_t limit) {
  return {State::damaged,
          {},
          "'" + path.string() + "' is longer than " + std::to_string(limit) + " bytes"};
}

/// Reads to the end rather than to the announced size: system files announce none.
FileContent readAll(const FileDescriptor& file, const fs::path& path, std::size_t announced,
                    std::size_t limit) {
  constexpr std::size_t kLeastChunk = std::size_t{16} * 1024;
  Data bytes;
  std::size_t count = 0;
  while (count <= limit) {
    if (count == bytes.size()) bytes.resize(std::max(announced + 1, count + kLeastChunk));
    const ssize_t got = ::read(file.get(), bytes.data() + count, bytes.size() - count);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return unreadable(path);
    if (got == 0) {
      bytes.resize(count);
      return {State::whole, std::move(bytes), {}};
    }
    count += static_cast<std::size_t>(got);
  }
  return tooLong(path, limit);
}

}  // namespace

std::optional<Error> DiskFileStore::write(const fs::path& path,
                                          std::span<const std::uint8_t> bytes) {
  auto file = NewFile::create(path.parent_path(), path.filename().string());
  if (!file) return file.error();
  if (auto error = file.value().write(bytes)) return error;
  return file.value().moveTo(path);
}

FileContent DiskFileStore::read(const fs::path& path, std::size_t limit) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return {};
  struct stat found = {};
  // A socket cannot even be opened.
  const bool isSocket = !file && errno == ENXIO;
  if (!isSocket && (!file || ::fstat(file.get(), &found) != 0)) return unreadable(path);
  if (!S_ISREG(found.st_mode)) {
    return {State::damaged, {}, "'" + path.string() + "' is no regular file"};
  }
  const auto announced = static_cast<std::size_t>(found.st_size);
  if (announced > limit) return tooLong(path, limit);
  return readAll(file, path, announced, limit);
}

std::string DiskFileStore::setAside(const fs::path& path) {
  const std::string damaged = path.string() + ".damaged";
  if (std::rename(path.c_str(), damaged.c_str()) == 0) return "kept as " + damaged;
  return "cannot be set aside: " + fileError("rename", path).localizedDescription();
}

}  // namespace ks
