#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks::test {

/// A platform on which the contracts of the seam are tried, and what the interfaces leave open.
class PlatformUnderTest {
 public:
  virtual ~PlatformUnderTest() = default;
  virtual Platform& platform() = 0;
  /// Lets the platform work until its time has moved by `span` at least.
  virtual void runFor(Seconds span) = 0;
  /// Ends the process, as it were, and begins another on the same device.
  virtual void restart() = 0;
  /// Carries the device to a place, where positions can be tried.
  virtual void moveTo(CLLocationCoordinate2D /*place*/) {}
  /// Lets exactly these beacons advertise their frame and battery level around the device, where
  /// Bluetooth can be tried.
  virtual void setBeaconsAround(const std::vector<BeaconFrame>& /*beacons*/) {}
  virtual void setBluetoothPowered(bool /*powered*/) {}
};

struct PlatformParameter {
  std::string name;
  std::function<std::unique_ptr<PlatformUnderTest>()> make;
  /// Why it cannot be tried on this machine; empty when it can. May be null.
  std::function<std::string()> reasonNotTo = nullptr;
  friend std::ostream& operator<<(std::ostream& out, const PlatformParameter& parameter) {
    return out << parameter.name;
  }
};

/// The base of all contract suites: each interface's suite runs on every platform that instantiates
/// it.
class PlatformContract : public testing::TestWithParam<PlatformParameter> {
 protected:
  void SetUp() override {
    const auto& reasonNotTo = GetParam().reasonNotTo;
    if (reasonNotTo && !reasonNotTo().empty()) GTEST_SKIP() << reasonNotTo();
    device_ = GetParam().make();
  }
  Platform& platform() { return device_->platform(); }
  void runFor(Seconds span) { device_->runFor(span); }
  void restart() { device_->restart(); }
  void moveTo(CLLocationCoordinate2D place) { device_->moveTo(place); }
  void setBeaconsAround(const std::vector<BeaconFrame>& beacons) {
    device_->setBeaconsAround(beacons);
  }
  void setBluetoothPowered(bool powered) { device_->setBluetoothPowered(powered); }
  /// Lets the platform work until `condition` holds; false after `limit`.
  bool eventually(const std::function<bool()>& condition, Seconds limit = Seconds{60}) {
    constexpr Seconds kBetweenLooks{0.1};
    for (Seconds waited{0}; waited < limit && !condition(); waited += kBetweenLooks) {
      runFor(kBetweenLooks);
    }
    return condition();
  }

 private:
  std::unique_ptr<PlatformUnderTest> device_;
};

class DispatchQueueContract : public PlatformContract {
 protected:
  /// Both of the platform's queues keep the same contract.
  std::vector<DispatchQueue*> queues() {
    return {&platform().mainQueue(), &platform().globalQueue()};
  }
};
class NotificationCenterContract : public PlatformContract {};
class UserDefaultsContract : public PlatformContract {};
class ApplicationContract : public PlatformContract {};
class UserNotificationCenterContract : public PlatformContract {};
class LocationContract : public PlatformContract {};
class BluetoothContract : public PlatformContract {};

}  // namespace ks::test
