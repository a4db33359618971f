#include <gtest/gtest.h>

#include <string>

#include "BeaconSDK/Platform/Location/Radio/ScanningCentral.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

namespace ks {
namespace {

class ScanningCentralTest : public ::testing::Test, protected CBCentralManagerDelegate {
 protected:
  void centralManagerDidUpdateState(CBCentralManager& central) override {
    events_ += "s" + std::to_string(static_cast<int>(central.state())) + " ";
  }
  void didDiscoverPeripheral(CBCentralManager&, const CBPeripheral& peripheral,
                             const Dictionary& data, Dbm) override {
    const auto* services = data[CBAdvertisementDataServiceDataKey].dictionary();
    const auto* bytes = services ? (*services)["D00D"].data() : nullptr;
    events_ += peripheral.identifier + ":" + (bytes ? std::to_string(bytes->size()) : "-") + " ";
    if (stopsAtOnce_) central_.reset();
  }
  std::string take() {
    loop_->runUntilIdle();
    return std::exchange(events_, "");
  }
  void advertise(const std::string& address, const char* service = "D00D") {
    Advertisement advertisement;
    advertisement.address = address;
    advertisement.serviceData.push_back({{service}, {1, 2, 3}});
    radio_->handleAdvertisement(advertisement);
  }
  void powerOn() {
    radio_->setState(CBManagerState::poweredOn);
    take();
  }

  std::string events_;
  bool stopsAtOnce_ = false;
  std::vector<bool> demands_;
  std::shared_ptr<SimulatedLoop> loop_ = std::make_shared<SimulatedLoop>();
  SimulatedQueue queue_{loop_, SimulatedQueue::Role::main};
  std::unique_ptr<ScanningRadio> radio_ =
      std::make_unique<ScanningRadio>(queue_, [this](bool wanted) { demands_.push_back(wanted); });
  std::unique_ptr<CBCentralManager> central_ = radio_->makeCentralManager(*this);
};

TEST_F(ScanningCentralTest, TellsEachStateOnceAndOutlivesRadio) {
  EXPECT_EQ(take(), "s0 ");
  radio_->setState(CBManagerState::poweredOn);
  radio_->setState(CBManagerState::poweredOn);
  EXPECT_EQ(take(), "s5 ");
  radio_.reset();
  EXPECT_EQ(central_->state(), CBManagerState::unknown);
}

TEST_F(ScanningCentralTest, ReportsWantedServicesOnly) {
  powerOn();
  for (const auto& services : {std::vector<CBUUID>{{"D00D"}}, {}}) {
    central_->scanForPeripheralsWithServices(services);
    advertise("A");
    advertise("B", "FEAA");
  }
  EXPECT_EQ(take(), "A:3 A:3 B:- ");
  central_->stopScan();
  take();
  EXPECT_EQ(demands_, (std::vector{true, false}));
}

TEST_F(ScanningCentralTest, CentralMayEndInItsEvent) {
  powerOn();
  const auto other = radio_->makeCentralManager(*this);
  take();
  for (auto* central : {central_.get(), other.get()}) {
    central->scanForPeripheralsWithServices({{"D00D"}});
  }
  stopsAtOnce_ = true;
  advertise("A");
  EXPECT_EQ(take(), "A:3 A:3 ");
}

}  // namespace
}  // namespace ks
