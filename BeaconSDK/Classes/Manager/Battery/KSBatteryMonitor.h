#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"

/// The engine's battery readings. Until the first start there is no radio: requests are dropped and
/// no level is known. Each start begins with an empty table.
///
/// Every ranged beacon is asked for every time, so what was asked for before is found again without
/// making its key.
class KSBatteryMonitor {
 public:
  void create();
  void requestBatteryForBeacon(const KSPrivateBeacon& beacon);
  std::optional<std::int64_t> beaconBatteryForBeacon(const KSPrivateBeacon& beacon) const {
    return status_ ? status_->beaconBatteryForBeacon(beacon) : std::nullopt;
  }

 private:
  /// What a beacon's key is made of.
  template <class Text>
  struct Identity {
    Text name;
    ks::UUID uuid;
    std::int64_t minor;
    std::int64_t major;
  };
  struct Hash {
    using is_transparent = void;
    template <class Text>
    std::size_t operator()(const Identity<Text>& identity) const {
      return std::hash<std::string_view>{}(identity.name) ^
             std::hash<ks::UUID>{}(identity.uuid) * 3 ^
             static_cast<std::size_t>(identity.minor << 20 ^ identity.major) * 0x9E3779B97F4A7C15U;
    }
  };
  struct Equal {
    using is_transparent = void;
    template <class A, class B>
    bool operator()(const Identity<A>& a, const Identity<B>& b) const {
      return a.minor == b.minor && a.major == b.major && a.uuid == b.uuid && a.name == b.name;
    }
  };

  std::unique_ptr<KSBatteryStatus> status_;
  boost::unordered_flat_set<Identity<std::string>, Hash, Equal> requested_;
};
