#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Keeps the last lines of the system log and may hand each on as it comes. Any thread.
class SimulatedConsole : public Console {
 public:
  /// Old lines go first; enough for any test to look back, little enough for a long day.
  static constexpr std::size_t kMostLines = 10000;

  void log(std::string_view message) override;

  std::vector<std::string> lines() const;
  void clear();
  /// Called on the logging thread; null for none.
  void setListener(std::function<void(std::string_view)> listener);

 private:
  mutable std::mutex mutex_;
  std::deque<std::string> lines_;
  std::function<void(std::string_view)> listener_;
};

}  // namespace ks
