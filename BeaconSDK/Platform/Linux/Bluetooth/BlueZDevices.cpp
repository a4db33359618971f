#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZDevices.h"

#include <algorithm>

namespace ks {

namespace {

constexpr std::string_view kDevicePrefix = "/dev_";

std::string addressIn(std::string_view path) {
  const auto prefix = path.rfind(kDevicePrefix);
  if (prefix == std::string_view::npos) return std::string(path);
  std::string address(path.substr(prefix + kDevicePrefix.size()));
  std::replace(address.begin(), address.end(), '_', ':');
  return address;
}

}  // namespace

Advertisement& BlueZDevices::heard(std::string_view path) {
  const auto known = byPath_.find(path);
  if (known != byPath_.end()) {
    lastHeardFirst_.splice(lastHeardFirst_.begin(), lastHeardFirst_, known->second);
    return known->second->advertisement;
  }
  if (byPath_.size() == kCapacity) {
    byPath_.erase(lastHeardFirst_.back().path);
    lastHeardFirst_.pop_back();
  }
  lastHeardFirst_.push_front({std::string(path), {}});
  Device& device = lastHeardFirst_.front();
  device.advertisement.address = addressIn(path);
  byPath_.emplace(device.path, lastHeardFirst_.begin());
  return device.advertisement;
}

const Advertisement* BlueZDevices::find(std::string_view path) const {
  const auto known = byPath_.find(path);
  return known == byPath_.end() ? nullptr : &known->second->advertisement;
}

void BlueZDevices::forget(std::string_view path) {
  const auto known = byPath_.find(path);
  if (known == byPath_.end()) return;
  const auto device = known->second;
  byPath_.erase(known);
  lastHeardFirst_.erase(device);
}

void BlueZDevices::clear() {
  byPath_.clear();
  lastHeardFirst_.clear();
}

}  // namespace ks
