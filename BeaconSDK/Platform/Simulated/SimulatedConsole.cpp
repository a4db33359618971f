#include "BeaconSDK/Platform/Simulated/SimulatedConsole.h"

#include <utility>

namespace ks {

void SimulatedConsole::log(std::string_view message) {
  std::function<void(std::string_view)> listener;
  {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(message);
    if (lines_.size() > kMostLines) lines_.pop_front();
    listener = listener_;
  }
  if (listener) listener(message);
}

std::vector<std::string> SimulatedConsole::lines() const {
  const std::lock_guard lock(mutex_);
  return {lines_.begin(), lines_.end()};
}

void SimulatedConsole::clear() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
}

void SimulatedConsole::setListener(std::function<void(std::string_view)> listener) {
  const std::lock_guard lock(mutex_);
  listener_ = std::move(listener);
}

}  // namespace ks
