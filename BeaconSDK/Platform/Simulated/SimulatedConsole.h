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

/// Keeps the last lines of the system log, and may pass each to a listener. Any thread.
class SimulatedConsole : public Console {
 public:
  /// Maximum number of lines kept; the oldest are dropped.
  static constexpr std::size_t kMostLines = 10000;

  void log(std::string_view message) override;

  std::vector<std::string> lines() const;
  void clear();
  /// Sets the function called with each line on the logging thread; may be null.
  void setListener(std::function<void(std::string_view)> listener);

 private:
  mutable std::mutex mutex_;
  std::deque<std::string> lines_;
  std::function<void(std::string_view)> listener_;
};

}  // namespace ks
