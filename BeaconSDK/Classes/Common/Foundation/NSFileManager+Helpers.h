#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Where the library's files lie. None of these operations makes anything on disk.
namespace NSFileManagerHelpers {

/// `relativePath` in the user's caches directory; an argument that begins with "/" stays inside it.
std::filesystem::path cacheFilePath(std::string_view relativePath);
/// `relativePath` in the user's documents directory.
std::filesystem::path documentsFilePath(std::string_view relativePath);
/// `fileName` in the temporary directory of the process.
std::filesystem::path tempFilePath(std::string_view fileName);

/// The full paths of the folders that lie directly in `folder`, in the order in which the system
/// lists them; empty when it cannot be read.
std::vector<std::filesystem::path> directoryList(const std::filesystem::path& folder);

}  // namespace NSFileManagerHelpers

/// Replaces the file at `path` as a whole and durably (`FileStore::write`). False when the folder
/// is missing or the disk refuses; the old file then stays as it was. Any thread.
bool writeFileAtomically(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

/// The whole content of the regular file at `path`; nothing when it cannot be read. Any thread.
std::optional<Data> readFile(const std::filesystem::path& path);

}  // namespace ks
