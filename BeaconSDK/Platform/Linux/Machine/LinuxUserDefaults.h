#pragma once

#include <filesystem>
#include <mutex>
#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// User defaults in one XML property list, read when the defaults are made.
///
/// A damaged file counts as empty and is kept beside the new one with the ending ".damaged". Values
/// are those of a property list; `synchronize` fails, and writes nothing, while another is held.
class LinuxUserDefaults : public NSUserDefaults {
 public:
  LinuxUserDefaults(std::filesystem::path file, Console& console);
  /// Writes what was not synchronized.
  ~LinuxUserDefaults() override;

  Value objectForKey(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  /// Returns when the disk has the values, at once when nothing has changed.
  bool synchronize() override;

 private:
  void read(Console& console);

  std::filesystem::path file_;
  mutable std::mutex mutex_;
  Dictionary values_;
  bool changed_ = false;
};

}  // namespace ks
