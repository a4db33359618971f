#include "BeaconSDK/Platform/Http/HttpCacheFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <system_error>
#include <utility>

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
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  for (int sibling = 1; sibling <= kMaximumSiblings; ++sibling) {
    const std::string suffix = sibling == 1 ? "" : "-" + std::to_string(sibling);
    const std::filesystem::path path = directory / (folderName(identifier) + suffix);
    const int lock = ::open((path.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock < 0) return std::nullopt;
    if (::flock(lock, LOCK_EX | LOCK_NB) != 0) {
      ::close(lock);
      continue;
    }
    std::filesystem::create_directories(path, error);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all, error);
    return HttpCacheFolder(path, lock);
  }
  return std::nullopt;
}

HttpCacheFolder::HttpCacheFolder(HttpCacheFolder&& other) noexcept
    : path_(std::move(other.path_)), lock_(std::exchange(other.lock_, -1)) {}

HttpCacheFolder& HttpCacheFolder::operator=(HttpCacheFolder&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(lock_, other.lock_);
  return *this;
}

HttpCacheFolder::~HttpCacheFolder() {
  if (lock_ >= 0) ::close(lock_);
}

}  // namespace ks
