#include "BeaconSDK/Platform/Recorded/EnclosedReachability.h"

#include <utility>

namespace ks {

class EnclosedReachability::Watch : public SCNetworkReachability {
 public:
  Watch(Outside& outside, std::shared_ptr<OutsideLink> link, std::uint64_t number,
        std::shared_ptr<SCNetworkReachability> inner)
      : outside_(outside), link_(std::move(link)), number_(number), inner_(std::move(inner)) {}

  std::optional<SCNetworkReachabilityFlags> getFlags() override {
    const Value flags = outside_.answer("flags", [this] { return Value(inner_->getFlags()); });
    if (!flags.isNumber()) return std::nullopt;
    return static_cast<SCNetworkReachabilityFlags>(flags.integerValue());
  }
  bool setCallback(std::function<void(SCNetworkReachabilityFlags)> callback) override {
    callback_ = std::move(callback);
    if (!inner_) return true;
    return inner_->setCallback([link = link_, number = number_](SCNetworkReachabilityFlags flags) {
      if (link->outside == nullptr) return;
      RecordedEvent event;
      event.kind = RecordedEvent::Kind::reachability;
      event.subject = number;
      event.details.set("flags", flags);
      link->outside->enter(std::move(event));
    });
  }
  bool schedule() override {
    const Value done = outside_.answer("schedule", [this] { return Value(inner_->schedule()); });
    return isScheduled_ = done.boolValue();
  }
  void unschedule() override {
    isScheduled_ = false;
    if (inner_) inner_->unschedule();
  }

  void report(SCNetworkReachabilityFlags flags) const {
    const auto callback = callback_;
    if (isScheduled_ && callback) callback(flags);
  }

 private:
  Outside& outside_;
  std::shared_ptr<OutsideLink> link_;
  std::uint64_t number_;
  std::shared_ptr<SCNetworkReachability> inner_;
  std::function<void(SCNetworkReachabilityFlags)> callback_;
  bool isScheduled_ = false;
};

std::shared_ptr<SCNetworkReachability> EnclosedReachability::add(const Make& make) {
  std::shared_ptr<SCNetworkReachability> inner;
  const Value made = outside_.answer("watch", [&] {
    inner = make(outside_.realDevice()->systemConfiguration());
    return Value(inner != nullptr);
  });
  if (!made.boolValue()) return nullptr;
  auto watch = std::make_shared<Watch>(outside_, link_, ++last_, std::move(inner));
  watches_[last_] = watch;
  return watch;
}

std::shared_ptr<SCNetworkReachability> EnclosedReachability::reachabilityWithName(
    const std::string& host) {
  return add([&](SystemConfiguration& system) { return system.reachabilityWithName(host); });
}

std::shared_ptr<SCNetworkReachability> EnclosedReachability::reachabilityWithAddress(
    const SocketAddress& address) {
  return add([&](SystemConfiguration& system) { return system.reachabilityWithAddress(address); });
}

void EnclosedReachability::deliver(const RecordedEvent& event, DispatchQueue& queue) {
  const auto flags = static_cast<SCNetworkReachabilityFlags>(event.details["flags"].integerValue());
  queue.async([watch = watches_[event.subject], flags] {
    if (const auto alive = watch.lock()) alive->report(flags);
  });
}

}  // namespace ks
