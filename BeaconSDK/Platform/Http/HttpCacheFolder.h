#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace ks {

/// A folder that one session of one process has for itself while the object lives; a lock file
/// beside it tells the others. The folder's content stays for the next one.
class HttpCacheFolder {
 public:
  /// The folder named after `identifier` in `directory`, or the first of its numbered siblings that
  /// nobody uses; nothing when none can be had.
  static std::optional<HttpCacheFolder> acquire(const std::filesystem::path& directory,
                                                const std::string& identifier);
  HttpCacheFolder(HttpCacheFolder&& other) noexcept;
  HttpCacheFolder& operator=(HttpCacheFolder&& other) noexcept;
  ~HttpCacheFolder();

  const std::filesystem::path& path() const { return path_; }

 private:
  HttpCacheFolder(std::filesystem::path path, int lock) : path_(std::move(path)), lock_(lock) {}

  std::filesystem::path path_;
  int lock_;
};

}  // namespace ks
