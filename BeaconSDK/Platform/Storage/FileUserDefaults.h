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

/// User defaults in one text file, read when the defaults are made.
///
/// A damaged file is set aside, with a line to the console, and counts as empty. One that cannot be
/// read at that moment is read again before the first write: what was not set since comes from it.
/// A value that holds an object cannot be written.
class FileUserDefaults : public NSUserDefaults {
 public:
  /// `console` must outlive the defaults.
  FileUserDefaults(std::filesystem::path file, Console& console);
  /// Writes what was not synchronized.
  ~FileUserDefaults() override;

  Value objectForKey(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  /// Returns when the disk has the values, at once when nothing has changed. Makes the file's
  /// folder. False also while a value is held that cannot be written.
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
  /// Set or removed before the file was read; what it says of them is out of date.
  std::set<std::string, std::less<>> newerKeys_;
};

}  // namespace ks
