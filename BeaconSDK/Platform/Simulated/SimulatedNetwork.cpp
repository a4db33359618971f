#include "BeaconSDK/Platform/Simulated/SimulatedNetwork.h"

#include <map>
#include <mutex>
#include <utility>

#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

namespace ks {

namespace {

/// Virtual time ages stored documents.
HttpOptions onClock(HttpOptions options, const SimulatedLoop& loop) {
  options.clock = &loop.clock();
  return options;
}

}  // namespace

/// Tells the loop of each transfer.
class SimulatedNetwork::Transfers : public HttpObserver {
 public:
  explicit Transfers(std::shared_ptr<SimulatedLoop> loop) : loop_(std::move(loop)) {}

  void transferDidStart(std::uint64_t id) override {
    const std::lock_guard lock(mutex_);
    underWay_.emplace(id, loop_->beginTransfer());
  }

  void transferWillReport(std::uint64_t id) override {
    const std::lock_guard lock(mutex_);
    const auto found = underWay_.find(id);
    SimulatedLoop::postAs(found == underWay_.end() ? 0 : found->second);
  }

  void transferDidEnd(const HttpExchange& exchange) override {
    Listener listener;
    {
      const std::lock_guard lock(mutex_);
      const auto node = underWay_.extract(exchange.id);
      if (!node.empty()) loop_->endTransfer(node.mapped());
      listener = listener_;
    }
    if (listener) listener(exchange);
  }

  void setListener(Listener listener) {
    const std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
  }

 private:
  std::shared_ptr<SimulatedLoop> loop_;
  std::mutex mutex_;
  std::map<std::uint64_t, TransferId> underWay_;
  Listener listener_;
};

SimulatedNetwork::SimulatedNetwork(std::shared_ptr<SimulatedLoop> loop, HttpOptions options)
    : transfers_(std::make_shared<Transfers>(loop)),
      loadingSystem_(
          onClock(std::move(options), *loop),
          [loop] { return std::make_shared<SimulatedQueue>(loop); }, transfers_) {}

void SimulatedNetwork::setListener(Listener listener) {
  transfers_->setListener(std::move(listener));
}

}  // namespace ks
