#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// What is known of the devices around, by their object path: the daemon repeats only what has
/// changed. Bounded, whatever the daemon sends: the device that was silent longest makes room.
class BlueZDevices {
 public:
  static constexpr std::size_t kCapacity = 4096;

  /// The device, new if it was not known; it now counts as heard last. Its address is read from the
  /// path ("/org/bluez/hci0/dev_AA_BB_CC_DD_EE_FF") until the daemon tells it. The reference holds
  /// until the next call.
  Advertisement& heard(std::string_view path);
  /// Null when it is not known.
  const Advertisement* find(std::string_view path) const;
  void forget(std::string_view path);
  void clear();
  std::size_t size() const { return byPath_.size(); }

 private:
  struct Device {
    std::string path;
    Advertisement advertisement;
  };
  std::list<Device> lastHeardFirst_;
  /// The keys are views of the devices' own paths.
  std::unordered_map<std::string_view, std::list<Device>::iterator> byPath_;
};

}  // namespace ks
