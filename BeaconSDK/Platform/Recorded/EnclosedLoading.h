#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "BeaconSDK/Platform/Recorded/Outside.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

namespace ks {

class EnclosedSession;
class EnclosedTask;

/// The URL loading system of an enclosed device: requests are passed outside, replies enter as
/// events.
///
/// Tasks, sessions and single resources are numbered in the order of their creation, so that a
/// recorded reply finds its task again. Main queue only, like everything of the enclosed device.
class EnclosedLoading : public URLLoadingSystem {
 public:
  /// Called for each transfer after the delegate; for a single resource the exchange only says
  /// whether it arrived.
  using Listener = std::function<void(const HttpExchange&)>;

  /// `temporary` holds replies while a delegate reads them. All must outlive this object.
  EnclosedLoading(Outside& outside, std::shared_ptr<OutsideLink> link,
                  std::shared_ptr<SimulatedLoop> loop, DispatchQueue& workQueue,
                  std::filesystem::path temporary);
  ~EnclosedLoading() override;

  std::shared_ptr<NSURLSession> makeSession(NSURLSessionConfiguration configuration,
                                            std::weak_ptr<NSURLSessionDelegate> delegate) override;
  using URLLoadingSystem::dataWithContentsOfURL;
  std::optional<Data> dataWithContentsOfURL(const NSURL& url, const DataLimits& limits) override;
  void loadData(const NSURL& url, const DataLimits& limits,
                std::function<void(std::optional<Data>)> completion) override;

  void setListener(Listener listener) { listener_ = std::move(listener); }
  /// Delivers a download, a completion, an invalidation, ...
  void deliver(const RecordedEvent& event);

 private:
  friend class EnclosedSession;

  struct Load {
    NSURL url;
    std::function<void(std::optional<Data>)> completion;
  };

  void deliverLoad(const RecordedEvent& event);
  void deliverToTask(const RecordedEvent& event);
  void tell(HttpExchange exchange);

  Outside& outside_;
  std::shared_ptr<OutsideLink> link_;
  std::shared_ptr<SimulatedLoop> loop_;
  DispatchQueue& workQueue_;
  std::filesystem::path temporary_;
  Listener listener_;
  std::uint64_t lastSession_ = 0;
  std::uint64_t lastTask_ = 0;
  std::uint64_t lastLoad_ = 0;
  std::uint64_t lastFile_ = 0;
  std::map<std::uint64_t, std::weak_ptr<EnclosedSession>> sessions_;
  std::map<std::uint64_t, std::weak_ptr<EnclosedTask>> tasks_;
  std::map<std::uint64_t, Load> loads_;
};

}  // namespace ks
