#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"

namespace ks::tool {

/// Hands finished transfers over to the main queue, and knows how many are under way.
class TransferWatch : public HttpObserver, public std::enable_shared_from_this<TransferWatch> {
 public:
  using Listener = std::function<void(const HttpExchange&)>;

  /// Before the first transfer. The queue must outlive all transfers; the listener is called there,
  /// not after the watch is gone.
  void follow(DispatchQueue& mainQueue, Listener listener) {
    mainQueue_ = &mainQueue;
    listener_ = std::move(listener);
  }
  /// Transfers whose end the listener has not been told. Main queue.
  int underWay() const { return started_ - told_; }

  void transferDidStart(std::uint64_t /*id*/) override { ++started_; }
  void transferDidEnd(const HttpExchange& exchange) override {
    mainQueue_->async([weak = weak_from_this(), exchange] {
      const auto watch = weak.lock();
      if (!watch) return;
      ++watch->told_;
      watch->listener_(exchange);
    });
  }

 private:
  DispatchQueue* mainQueue_ = nullptr;
  Listener listener_;
  std::atomic<int> started_ = 0;
  int told_ = 0;
};

}  // namespace ks::tool
