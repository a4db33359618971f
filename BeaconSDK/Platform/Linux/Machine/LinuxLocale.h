#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// "it_IT.UTF-8@euro" as language and region; neither for "C" and "POSIX".
NSLocale localeFromName(std::string_view name);

/// The user's language, region and time zone, looked up whenever somebody asks, so that a change
/// while running is seen at once and nothing has to wake up for it. Any thread.
///
/// - The locale is the environment's (`LC_ALL`, `LC_MESSAGES`, `LANG`), else the system's. When the
///   system's changes while running, the new one counts: the environment is older.
/// - The time zone is `TZ`, else the target of the link "etc/localtime", else "etc/timezone".
class LinuxLocale {
 public:
  explicit LinuxLocale(std::filesystem::path systemRoot);

  NSLocale locale() const;
  std::string timeZoneName() const;

 private:
  /// The system's settings file as it was found.
  struct Settings {
    std::filesystem::path file;
    std::int64_t modified = 0;
    std::uint64_t inode = 0;
    friend bool operator==(const Settings&, const Settings&) = default;
  };
  Settings findSettings() const;

  std::filesystem::path root_;
  std::string environment_;
  mutable std::mutex mutex_;
  mutable Settings settings_;
  mutable NSLocale locale_;
};

}  // namespace ks
