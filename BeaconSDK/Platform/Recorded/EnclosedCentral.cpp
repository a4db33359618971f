#include "BeaconSDK/Platform/Recorded/EnclosedCentral.h"

#include <utility>

namespace ks {

namespace {

using Kind = RecordedEvent::Kind;

/// Hears the real central.
class CentralEar : public CBCentralManagerDelegate {
 public:
  CentralEar(std::shared_ptr<OutsideLink> link, std::uint64_t number)
      : link_(std::move(link)), number_(number) {}

  void centralManagerDidUpdateState(CBCentralManager& central) override {
    hand(Kind::radioState, {{"state", static_cast<std::int64_t>(central.state())}});
  }
  void didDiscoverPeripheral(CBCentralManager&, const CBPeripheral& peripheral,
                             const Dictionary& advertisementData, Dbm rssi) override {
    hand(
        Kind::discovery,
        {{"peripheral", peripheral.identifier}, {"data", advertisementData}, {"rssi", rssi.value}});
  }

 private:
  void hand(Kind kind, Dictionary details) {
    if (link_->outside == nullptr) return;
    RecordedEvent event;
    event.kind = kind;
    event.subject = number_;
    event.details = std::move(details);
    link_->outside->enter(std::move(event));
  }

  std::shared_ptr<OutsideLink> link_;
  std::uint64_t number_;
};

}  // namespace

class EnclosedRadio::Central : public CBCentralManager {
 public:
  Central(CBCentralManagerDelegate& delegate, std::shared_ptr<Centrals> centrals,
          std::uint64_t number)
      : delegate_(delegate), centrals_(std::move(centrals)), number_(number) {
    centrals_->emplace(number_, this);
  }
  ~Central() override { centrals_->erase(number_); }

  void connect(Platform& device, const std::shared_ptr<OutsideLink>& link) {
    ear_ = std::make_unique<CentralEar>(link, number_);
    inner_ = device.makeCentralManager(*ear_);
  }

  CBManagerState state() const override { return state_; }
  bool isScanning() const override { return isScanning_; }
  void scanForPeripheralsWithServices(const std::vector<CBUUID>& services) override {
    if (state_ != CBManagerState::poweredOn) return;
    isScanning_ = true;
    if (inner_) inner_->scanForPeripheralsWithServices(services);
  }
  void stopScan() override {
    isScanning_ = false;
    if (inner_) inner_->stopScan();
  }

  void report(const RecordedEvent& event) {
    if (event.kind == Kind::radioState) {
      state_ = static_cast<CBManagerState>(event.details["state"].integerValue());
      if (state_ != CBManagerState::poweredOn) isScanning_ = false;
      delegate_.centralManagerDidUpdateState(*this);
      return;
    }
    static const Dictionary kNone;
    const Dictionary* const data = event.details["data"].dictionary();
    delegate_.didDiscoverPeripheral(*this, {event.details["peripheral"].stringValue().value_or("")},
                                    data != nullptr ? *data : kNone,
                                    Dbm{event.details["rssi"].doubleValue()});
  }

 private:
  CBCentralManagerDelegate& delegate_;
  std::shared_ptr<Centrals> centrals_;
  std::uint64_t number_;
  CBManagerState state_ = CBManagerState::unknown;
  bool isScanning_ = false;
  std::unique_ptr<CentralEar> ear_;
  std::unique_ptr<CBCentralManager> inner_;
};

std::unique_ptr<CBCentralManager> EnclosedRadio::makeCentralManager(
    CBCentralManagerDelegate& delegate) {
  auto central = std::make_unique<Central>(delegate, centrals_, ++last_);
  if (Platform* const device = outside_.realDevice()) central->connect(*device, link_);
  return central;
}

void EnclosedRadio::deliver(const RecordedEvent& event, DispatchQueue& queue) {
  if (event.subject > last_) return outside_.departed("a radio reports that was not asked for");
  queue.async([centrals = centrals_, event] {
    const auto found = centrals->find(event.subject);
    if (found != centrals->end()) found->second->report(event);
  });
}

}  // namespace ks
