#include "BeaconSDK/Platform/Location/Radio/ScanningCentral.h"

#include <algorithm>
#include <deque>
#include <string>
#include <unordered_set>
#include <utility>

namespace ks {

namespace {

/// The senders that a scan has reported, the oldest forgotten when there are too many.
class SenderMemory {
 public:
  /// False when the sender is remembered already.
  bool remember(const std::string& address) {
    if (!known_.insert(address).second) return false;
    order_.push_back(address);
    if (order_.size() > kCapacity) {
      known_.erase(order_.front());
      order_.pop_front();
    }
    return true;
  }
  void clear() {
    known_.clear();
    order_.clear();
  }

 private:
  static constexpr std::size_t kCapacity = 4096;
  std::unordered_set<std::string> known_;
  std::deque<std::string> order_;
};

/// What the radio knows of one central.
struct Scan {
  CBCentralManager* central = nullptr;
  CBCentralManagerDelegate* delegate = nullptr;
  bool scanning = false;
  std::vector<CBUUID> services;
  SenderMemory senders;
};

bool offers(const Advertisement& advertisement, const std::vector<CBUUID>& wanted) {
  if (wanted.empty()) return true;
  const auto isWanted = [&](const CBUUID& service) {
    return std::find(wanted.begin(), wanted.end(), service) != wanted.end();
  };
  return std::any_of(advertisement.services.begin(), advertisement.services.end(), isWanted) ||
         std::any_of(advertisement.serviceData.begin(), advertisement.serviceData.end(),
                     [&](const ServiceData& data) { return isWanted(data.service); });
}

Dictionary dictionaryOf(const Advertisement& advertisement) {
  Dictionary result;
  if (advertisement.serviceData.empty()) return result;
  Dictionary byService;
  for (const auto& data : advertisement.serviceData) {
    byService.set(data.service.UUIDString, data.bytes);
  }
  result.set(CBAdvertisementDataServiceDataKey, std::move(byService));
  return result;
}

}  // namespace

class ScanningRadio::Core {
 public:
  Core(DispatchQueue& queue, ScanDemand changed) : queue_(queue), changed_(std::move(changed)) {}

  static void add(const std::shared_ptr<Core>& core, const std::shared_ptr<Scan>& scan) {
    core->scans_.push_back(scan);
    core->queue_.async([weak = std::weak_ptr(core), scan] {
      if (weak.lock()) tellState(*scan);
    });
  }
  void remove(const std::shared_ptr<Core>& self, const std::shared_ptr<Scan>& scan) {
    std::erase(scans_, scan);
    scansChanged(self);
  }

  void setState(const std::shared_ptr<Core>& self, CBManagerState value) {
    if (std::exchange(state, value) == value) return;
    for (const auto& scan : scans_) scan->scanning &= value == CBManagerState::poweredOn;
    scansChanged(self);
    queue_.async([weak = std::weak_ptr(self)] {
      const auto core = weak.lock();
      if (!core) return;
      for (const auto& scan : std::vector(core->scans_)) tellState(*scan);
    });
  }

  void scansChanged(const std::shared_ptr<Core>& self) {
    if (isWanted() == told_ || posted_) return;
    posted_ = true;
    queue_.async([weak = std::weak_ptr(self)] {
      const auto core = weak.lock();
      if (!core) return;
      core->posted_ = false;
      if (std::exchange(core->told_, core->isWanted()) != core->told_) core->changed_(core->told_);
    });
  }

  void handle(const Advertisement& advertisement) {
    for (const auto& scan : std::vector(scans_)) {
      if (!scan->scanning || scan->central == nullptr) continue;
      if (!offers(advertisement, scan->services)) continue;
      if (!scan->senders.remember(advertisement.address)) continue;
      scan->delegate->didDiscoverPeripheral(*scan->central, {advertisement.address},
                                            dictionaryOf(advertisement), advertisement.rssi);
    }
  }

  bool isWanted() const {
    return std::any_of(scans_.begin(), scans_.end(),
                       [](const auto& scan) { return scan->scanning; });
  }

  CBManagerState state = CBManagerState::unknown;

 private:
  static void tellState(Scan& scan) {
    if (scan.central != nullptr) scan.delegate->centralManagerDidUpdateState(*scan.central);
  }

  DispatchQueue& queue_;
  ScanDemand changed_;
  std::vector<std::shared_ptr<Scan>> scans_;
  bool told_ = false;
  bool posted_ = false;
};

namespace {

class ScanningCentral : public CBCentralManager {
 public:
  ScanningCentral(const std::shared_ptr<ScanningRadio::Core>& core,
                  CBCentralManagerDelegate& delegate)
      : core_(core) {
    scan_->central = this;
    scan_->delegate = &delegate;
    ScanningRadio::Core::add(core, scan_);
  }
  ~ScanningCentral() override {
    scan_->central = nullptr;
    scan_->scanning = false;
    if (const auto core = core_.lock()) core->remove(core, scan_);
  }

  CBManagerState state() const override {
    const auto core = core_.lock();
    return core ? core->state : CBManagerState::unknown;
  }
  bool isScanning() const override { return scan_->scanning && !core_.expired(); }
  void scanForPeripheralsWithServices(const std::vector<CBUUID>& services) override {
    const auto core = core_.lock();
    if (!core || core->state != CBManagerState::poweredOn) return;
    scan_->services = services;
    scan_->senders.clear();
    scan_->scanning = true;
    core->scansChanged(core);
  }
  void stopScan() override {
    scan_->scanning = false;
    if (const auto core = core_.lock()) core->scansChanged(core);
  }

 private:
  std::shared_ptr<Scan> scan_ = std::make_shared<Scan>();
  std::weak_ptr<ScanningRadio::Core> core_;
};

}  // namespace

ScanningRadio::ScanningRadio(DispatchQueue& mainQueue, ScanDemand demandChanged)
    : core_(std::make_shared<Core>(mainQueue, std::move(demandChanged))) {}

ScanningRadio::~ScanningRadio() = default;

std::unique_ptr<CBCentralManager> ScanningRadio::makeCentralManager(
    CBCentralManagerDelegate& delegate) {
  return std::make_unique<ScanningCentral>(core_, delegate);
}

CBManagerState ScanningRadio::state() const { return core_->state; }

void ScanningRadio::setState(CBManagerState state) { core_->setState(core_, state); }

void ScanningRadio::handleAdvertisement(const Advertisement& advertisement) {
  core_->handle(advertisement);
}

bool ScanningRadio::isScanWanted() const { return core_->isWanted(); }

}  // namespace ks
