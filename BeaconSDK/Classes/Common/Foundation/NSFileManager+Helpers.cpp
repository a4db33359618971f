#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>

#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

fs::path below(const fs::path& folder, std::string_view relativePath) {
  return folder / fs::path(relativePath).relative_path();
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File openFile(const fs::path& path, const char* mode) {
  return File(std::fopen(path.c_str(), mode));
}

/// Makes a new file that only its owner can read; null when there is one of that name.
File createFile(const fs::path& path) {
  File file = openFile(path, "wbx");
  std::error_code error;
  if (file) fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write, error);
  return error ? nullptr : std::move(file);
}

bool writeAll(File file, std::span<const std::uint8_t> bytes) {
  if (!file) return false;
  const bool written =
      bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  return std::fclose(file.release()) == 0 && written;
}

/// A new file beside `path`. Names that an interrupted process left behind are passed over.
File createFileBeside(const fs::path& path, fs::path& temporary) {
  static std::atomic<unsigned> lastNumber{0};
  constexpr int kAttempts = 1000;
  std::error_code error;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    temporary = path;
    temporary += "." + std::to_string(++lastNumber) + ".tmp";
    if (File file = createFile(temporary)) return file;
    if (!fs::exists(temporary, error)) return nullptr;
  }
  return nullptr;
}

}  // namespace

namespace NSFileManagerHelpers {

fs::path cacheFilePath(std::string_view relativePath) {
  return below(Platform::current().directories().caches, relativePath);
}

fs::path documentsFilePath(std::string_view relativePath) {
  return below(Platform::current().directories().documents, relativePath);
}

fs::path tempFilePath(std::string_view fileName) {
  return below(Platform::current().directories().temporary, fileName);
}

std::vector<fs::path> directoryList(const fs::path& folder) {
  std::vector<fs::path> folders;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    if (entry->is_directory(unknown)) folders.push_back(entry->path());
  }
  return folders;
}

}  // namespace NSFileManagerHelpers

bool writeFileAtomically(const fs::path& path, std::span<const std::uint8_t> bytes) {
  fs::path temporary;
  File file = createFileBeside(path, temporary);
  if (!file) return false;
  std::error_code error;
  if (writeAll(std::move(file), bytes)) {
    fs::rename(temporary, path, error);
    if (!error) return true;
  }
  fs::remove(temporary, error);
  return false;
}

bool writeFile(const fs::path& path, std::span<const std::uint8_t> bytes) {
  File file = createFile(path);
  return writeAll(file ? std::move(file) : openFile(path, "wb"), bytes);
}

std::optional<Data> readFile(const fs::path& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return std::nullopt;
  const auto size = fs::file_size(path, error);
  const File file = openFile(path, "rb");
  if (!file || error) return std::nullopt;
  Data bytes(size);
  bytes.resize(size == 0 ? 0 : std::fread(bytes.data(), 1, bytes.size(), file.get()));
  if (std::ferror(file.get())) return std::nullopt;
  return bytes;
}

}  // namespace ks
