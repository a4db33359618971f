#include "BeaconSDK/Platform/Simulated/SimulatedReachability.h"

#include <utility>

namespace ks {

std::shared_ptr<SCNetworkReachability> SimulatedReachability::makeWatchOf(std::string target) {
  const std::lock_guard lock(mutex_);
  targets_.push_back(std::move(target));
  return refuses_ ? nullptr : makeWatch();
}

std::shared_ptr<SCNetworkReachability> SimulatedReachability::reachabilityWithName(
    const std::string& host) {
  return makeWatchOf(host);
}

std::shared_ptr<SCNetworkReachability> SimulatedReachability::reachabilityWithAddress(
    const SocketAddress& address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string((address.address >> shift) & 0xFF);
    if (shift > 0) text += '.';
  }
  return makeWatchOf(std::move(text));
}

void SimulatedReachability::setDelay(Seconds delay) {
  setReadingHook([&loop = loop_, delay] { loop.stall(delay); });
}

void SimulatedReachability::setRefusesTargets(bool flag) {
  const std::lock_guard lock(mutex_);
  refuses_ = flag;
}

std::vector<std::string> SimulatedReachability::targets() const {
  const std::lock_guard lock(mutex_);
  return targets_;
}

}  // namespace ks
