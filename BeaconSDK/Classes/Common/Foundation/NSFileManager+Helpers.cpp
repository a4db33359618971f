#include <fstream>
#include <iterator>
#include <system_error>

#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

fs::path below(const fs::path& folder, std::string_view relativePath) {
  return folder / fs::path(relativePath).relative_path();
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
  return !Platform::current().files().write(path, bytes);
}

std::optional<Data> readFile(const fs::path& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  Data bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) return std::nullopt;
  return bytes;
}

}  // namespace ks
