#pragma once

#include <filesystem>
#include <mutex>
#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// User defaults kept in one text file, so that they survive the process.
///
/// The file is read once, when the defaults are made; a missing or damaged one counts as empty.
/// Values are those of a property list: a value that holds an object cannot be written.
class SimulatedUserDefaults : public NSUserDefaults {
 public:
  explicit SimulatedUserDefaults(std::filesystem::path file);

  Value objectForKey(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  /// False also when a value cannot be written.
  bool synchronize() override;

 private:
  std::filesystem::path file_;
  mutable std::mutex mutex_;
  Dictionary values_;
};

}  // namespace ks
