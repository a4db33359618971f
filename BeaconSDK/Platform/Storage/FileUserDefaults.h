#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"

namespace ks {

/// User defaults in one text file, read on construction.
///
/// A damaged file is set aside, with a line in the console, and counts as empty. One that cannot be
/// read then is read again before the first write, without replacing values set since. A value that
/// holds an object cannot be written.
class FileUserDefaults : public NSUserDefaults {
 public:
  /// `console` must outlive the defaults.
  FileUserDefaults(std::filesystem::path file, Console& console);
  /// Writes unsynchronized changes.
  ~FileUserDefaults() override;

  Value objectForKey(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  /// Returns when the values are on disk, immediately when nothing has changed. Creates the file's
  /// folder. False also while there is a value that cannot be written.
  bool synchronize() override;

 private:
  /// False when the file cannot be read now.
  bool read();

  std::filesystem::path file_;
  Console& console_;
  DiskFileStore store_;
  mutable std::mutex mutex_;
  Dictionary values_;
  bool isRead_ = false;
  bool isChanged_ = false;
  /// Keys set or removed before the file was read; the file's values for them are out of date.
  std::set<std::string, std::less<>> newerKeys_;
};

}  // namespace ks
