#include "BeaconSDK/Platform/Common/HostReachability.h"

#include <mutex>
#include <utility>
#include <vector>

namespace ks {

/// Shared with the watches, which may outlive the service.
struct HostReachability::State {
  std::mutex mutex;
  std::optional<SCNetworkReachabilityFlags> flags = kSCNetworkReachabilityFlagsReachable;
  std::function<void()> readingHook;
  std::vector<std::weak_ptr<Watch>> watches;
};

class HostReachability::Watch : public SCNetworkReachability {
 public:
  explicit Watch(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::optional<SCNetworkReachabilityFlags> getFlags() override {
    const std::lock_guard lock(state_->mutex);
    if (state_->readingHook) state_->readingHook();
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

HostReachability::HostReachability(DispatchQueue& mainQueue)
    : mainQueue_(mainQueue), state_(std::make_shared<State>()) {}

std::shared_ptr<SCNetworkReachability> HostReachability::makeWatch() {
  auto watch = std::make_shared<Watch>(state_);
  const std::lock_guard lock(state_->mutex);
  std::erase_if(state_->watches, [](const auto& other) { return other.expired(); });
  state_->watches.push_back(watch);
  return watch;
}

std::shared_ptr<SCNetworkReachability> HostReachability::reachabilityWithName(
    const std::string& host) {
  return host.empty() ? nullptr : makeWatch();
}

std::shared_ptr<SCNetworkReachability> HostReachability::reachabilityWithAddress(
    const SocketAddress& /*address*/) {
  return makeWatch();
}

void HostReachability::setFlags(std::optional<SCNetworkReachabilityFlags> flags) {
  const std::lock_guard lock(state_->mutex);
  if (std::exchange(state_->flags, flags) == flags) return;
  for (const auto& watch : state_->watches) {
    mainQueue_.async([watch, flags] {
      if (const auto alive = watch.lock()) alive->report(flags.value_or(0));
    });
  }
}

void HostReachability::setReadingHook(std::function<void()> hook) {
  const std::lock_guard lock(state_->mutex);
  state_->readingHook = std::move(hook);
}

}  // namespace ks
