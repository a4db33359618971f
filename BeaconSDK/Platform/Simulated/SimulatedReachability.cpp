#include "BeaconSDK/Platform/Simulated/SimulatedReachability.h"

#include <utility>

namespace ks {

/// Shared with the watches, which may outlive the service.
struct SimulatedReachability::State {
  std::mutex mutex;
  SimulatedLoop* loop = nullptr;
  std::optional<SCNetworkReachabilityFlags> flags = kSCNetworkReachabilityFlagsReachable;
  Seconds delay{0};
  bool refuses = false;
  std::vector<std::string> targets;
  std::vector<std::weak_ptr<Watch>> watches;
};

class SimulatedReachability::Watch : public SCNetworkReachability {
 public:
  explicit Watch(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::optional<SCNetworkReachabilityFlags> getFlags() override {
    const std::lock_guard lock(state_->mutex);
    if (state_->loop != nullptr) state_->loop->stall(state_->delay);
    return state_->flags;
  }
  bool setCallback(std::function<void(SCNetworkReachabilityFlags)> callback) override {
    callback_ = std::move(callback);
    return true;
  }
  bool schedule() override { return scheduled_ = true; }
  void unschedule() override { scheduled_ = false; }

  void report(SCNetworkReachabilityFlags flags) const {
    const auto callback = callback_;
    if (scheduled_ && callback) callback(flags);
  }

 private:
  std::shared_ptr<State> state_;
  std::function<void(SCNetworkReachabilityFlags)> callback_;
  bool scheduled_ = false;
};

SimulatedReachability::SimulatedReachability(SimulatedLoop& loop, DispatchQueue& mainQueue)
    : mainQueue_(mainQueue), state_(std::make_shared<State>()) {
  state_->loop = &loop;
}

SimulatedReachability::~SimulatedReachability() {
  const std::lock_guard lock(state_->mutex);
  state_->loop = nullptr;
}

std::shared_ptr<SCNetworkReachability> SimulatedReachability::makeWatch(std::string target) {
  const std::lock_guard lock(state_->mutex);
  state_->targets.push_back(std::move(target));
  if (state_->refuses) return nullptr;
  auto watch = std::make_shared<Watch>(state_);
  std::erase_if(state_->watches, [](const auto& other) { return other.expired(); });
  state_->watches.push_back(watch);
  return watch;
}

std::shared_ptr<SCNetworkReachability> SimulatedReachability::reachabilityWithName(
    const std::string& host) {
  return makeWatch(host);
}

std::shared_ptr<SCNetworkReachability> SimulatedReachability::reachabilityWithAddress(
    const SocketAddress& address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string((address.address >> shift) & 0xFF);
    if (shift > 0) text += '.';
  }
  return makeWatch(std::move(text));
}

void SimulatedReachability::setFlags(std::optional<SCNetworkReachabilityFlags> flags) {
  const std::lock_guard lock(state_->mutex);
  if (std::exchange(state_->flags, flags) == flags) return;
  for (const auto& watch : state_->watches) {
    mainQueue_.async([watch, flags] {
      if (const auto alive = watch.lock()) alive->report(flags.value_or(0));
    });
  }
}

void SimulatedReachability::setDelay(Seconds delay) {
  const std::lock_guard lock(state_->mutex);
  state_->delay = delay;
}

void SimulatedReachability::setRefusesTargets(bool flag) {
  const std::lock_guard lock(state_->mutex);
  state_->refuses = flag;
}

std::vector<std::string> SimulatedReachability::targets() const {
  const std::lock_guard lock(state_->mutex);
  return state_->targets;
}

}  // namespace ks
