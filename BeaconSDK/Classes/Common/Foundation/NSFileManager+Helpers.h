#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Paths of the library's files. None of these operations creates anything on disk.
namespace NSFileManagerHelpers {

/// `relativePath` in the user's caches directory; an argument that begins with "/" stays inside it.
std::filesystem::path cacheFilePath(std::string_view relativePath);
/// `relativePath` in the user's documents directory.
std::filesystem::path documentsFilePath(std::string_view relativePath);
/// `fileName` in the temporary directory of the process.
std::filesystem::path tempFilePath(std::string_view fileName);

/// Returns the full paths of the direct subfolders of `folder`, in the system's order; empty if it
/// cannot be read.
std::vector<std::filesystem::path> directoryList(const std::filesystem::path& folder);

}  // namespace NSFileManagerHelpers

/// Replaces the file at `path` atomically and durably (`FileStore::write`). Returns false, and
/// keeps the old file, if the folder is missing or the write fails. Any thread.
bool writeFileAtomically(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

/// Returns the content of the regular file at `path`, or nothing if it cannot be read. Any thread.
std::optional<Data> readFile(const std::filesystem::path& path);

}  // namespace ks
