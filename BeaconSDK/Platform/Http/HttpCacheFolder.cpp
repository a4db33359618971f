#include "BeaconSDK/Platform/Http/HttpCacheFolder.h"

#include <utility>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace {

/// Sessions that share one directory and identifier at a time; further ones have no disk cache.
constexpr int kMaximumSiblings = 8;
constexpr std::size_t kMaximumNameLength = 100;

/// A file name made of `identifier`, without what could lead out of the directory.
std::string folderName(const std::string& identifier) {
  std::string name;
  for (const char c : identifier.substr(0, kMaximumNameLength)) {
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                       c == '-' || c == '.';
    name += plain ? c : '_';
  }
  return "session-" + name;
}

}  // namespace

std::optional<HttpCacheFolder> HttpCacheFolder::acquire(const std::filesystem::path& directory,
                                                        const std::string& identifier) {
  for (int sibling = 1; sibling <= kMaximumSiblings; ++sibling) {
    const std::string suffix = sibling == 1 ? "" : "-" + std::to_string(sibling);
    std::filesystem::path path = directory / (folderName(identifier) + suffix);
    if (makePrivateFolder(path)) return std::nullopt;
    auto lock = FolderLock::acquire(path);
    if (!lock) continue;
    removeUnfinishedFiles(path);
    return HttpCacheFolder(std::move(path), std::move(lock.value()));
  }
  return std::nullopt;
}

}  // namespace ks
