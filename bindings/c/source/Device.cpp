#include "bindings/c/source/Device.h"

#include <mutex>
#include <utility>

#include "bindings/c/source/Application.h"
#include "bindings/c/source/EventView.h"
#include "tools/ksbeacon/output/JsonText.h"

using ks::capi::Failure;

namespace {

constexpr ks::Seconds kHealthInterval{15};

}  // namespace

/// Brings what the worker's thread reports to the main queue, while there is one.
class ks_device::Transfers : public ks::HttpObserver {
 public:
  void transferDidStart(std::uint64_t) override {}
  void transferDidEnd(const ks::HttpExchange& exchange) override {
    const std::lock_guard lock(mutex_);
    if (queue_ != nullptr) queue_->async([handler = handler_, exchange] { handler(exchange); });
  }
  /// Null for none.
  void follow(ks::DispatchQueue* queue, std::function<void(const ks::HttpExchange&)> handler) {
    const std::lock_guard lock(mutex_);
    queue_ = queue;
    handler_ = std::move(handler);
  }

 private:
  std::mutex mutex_;
  ks::DispatchQueue* queue_ = nullptr;
  std::function<void(const ks::HttpExchange&)> handler_;
};

ks_device::ks_device(const ks_application& application, const ks_callbacks* callbacks)
    : options_(ks::capi::libraryOptions(application)),
      recordFile_(ks::capi::optional(application.record)),
      isRecordPrivate_(application.record_private != 0),
      transfers_(std::make_shared<Transfers>()) {
  if (callbacks != nullptr) callbacks_ = ks::capi::taken(callbacks, "callbacks");
  options_.started = [this](const std::optional<ks::Error>& error) {
    // The engine is not asked from its own callback.
    watchHealth(ks::Seconds{0});
    if (callbacks_.started == nullptr) return;
    const std::string problem = error ? error->localizedDescription() : "";
    callbacks_.started(callbacks_.user_data, error ? problem.c_str() : nullptr);
  };
}

std::shared_ptr<ks::HttpObserver> ks_device::transferObserver() { return transfers_; }

void ks_device::open(ks::Platform& device, ks::LocationEngine& engine,
                     const std::filesystem::path& state) {
  mainQueue_ = &device.mainQueue();
  start_ = device.clock().now();
  // Timeline events of one turn are delivered in the next one, in order.
  timeline_.listen([this, &device](const ks::tool::TimelineEvent& event) {
    if (recording_) recording_->take(event);
    if (callbacks_.event == nullptr) return;
    undelivered_.push_back(event);
    if (undelivered_.size() == 1) device.mainQueue().async([this] { deliver(); });
  });
  recorder_ = std::make_shared<ks::tool::TimelineRecorder>(
      timeline_, ks::tool::TimelineRecorder::Options{
                     start_, options_.portalURL, true, {}, options_.refinements.exactStays});
  if (!recordFile_.empty()) record(device, engine, state);
  platform_ = std::make_shared<ks::tool::ObservedPlatform>(
      recording_ ? recording_->platform() : device, *recorder_);
  recorder_->follow(platform_->clock());
  ks::Platform::install(platform_);
  library_.emplace(recorder_, options_);
  transfers_->follow(&device.mainQueue(), [this](const ks::HttpExchange& exchange) {
    // Of a recording these are the transfers outside, not the library's.
    if (!recording_) library_->transferEnded(exchange);
  });
  watchHealth(kHealthInterval);
}

void ks_device::record(ks::Platform& device, ks::LocationEngine& engine,
                       const std::filesystem::path& state) {
  recording_ = ks::capi::Recording::make(
      {device, engine, state, recordFile_, isRecordPrivate_, options_, recorder_->options(),
       [this](const std::string& name, const ks::Dictionary& arguments) {
         library_->handle(name, arguments);
       },
       [this](const ks::HttpExchange& exchange) { library_->transferEnded(exchange); }});
}

void ks_device::close() {
  healthTimer_.cancel();
  transfers_->follow(nullptr, {});
  library_.reset();
  ks::Platform::install(nullptr);
  platform_.reset();
  recording_.reset();
}

void ks_device::deliver() {
  for (const auto& event : std::exchange(undelivered_, {})) {
    const ks::capi::EventView view(event, start_);
    callbacks_.event(callbacks_.user_data, &view.event());
  }
}

void ks_device::checkThread() const {
  if (std::this_thread::get_id() != thread_) {
    throw Failure(KS_ERROR_THREAD, ks_status_text(KS_ERROR_THREAD));
  }
}

void ks_device::checkOutside() const {
  if (isRunning_) throw Failure(KS_ERROR_STATE, "not from within a callback");
}

bool ks_device::runOnce(ks::Seconds timeout) {
  checkOutside();
  isRunning_ = true;
  struct Outside {
    bool& isRunning;
    ~Outside() { isRunning = false; }
  } const outside{isRunning_};
  return runTurn(timeout);
}

void ks_device::start() {
  KSProximityManager* const manager = library_->manager();
  if (manager != nullptr && !library_->isRefused()) return handle("start", {});
  handle("launch", {{"text", manager == nullptr ? "launched" : "makes the library anew"}});
  if (library_->manager() == nullptr) {
    throw Failure(KS_ERROR_SYSTEM, "the library's cache folder cannot be made");
  }
}

void ks_device::handle(const std::string& name, ks::Dictionary arguments) {
  if (recording_) return recording_->call(name, std::move(arguments));
  library_->handle(name, arguments);
}

void ks_device::call(const char* name, ks::Dictionary arguments) {
  static_cast<void>(manager());
  handle(name, std::move(arguments));
}

std::string ks_device::healthText() { return ks::tool::jsonText(manager().health().dictionary()); }

void ks_device::watchHealth(ks::Seconds delay) {
  if (callbacks_.health == nullptr) return;
  healthTimer_.arm(*mainQueue_, delay, [this] {
    watchHealth(kHealthInterval);
    tellHealth();
  });
}

void ks_device::tellHealth() {
  if (library_->manager() == nullptr) return;
  const ks::Health health = manager().health();
  std::string reasons;
  for (const ks::Ailment& ailment : health.ailments) reasons += ailment.reason + " ";
  if (toldAilments_ == reasons) return;
  toldAilments_ = reasons;
  const std::string text = ks::tool::jsonText(health.dictionary());
  callbacks_.health(callbacks_.user_data, health.isWell() ? 0 : 1, text.c_str());
}

KSProximityManager& ks_device::manager() {
  if (library_->manager() == nullptr) throw Failure(KS_ERROR_STATE, "call ks_start first");
  return *library_->manager();
}

int ks_device::descriptor() {
  throw Failure(KS_ERROR_UNAVAILABLE, "this device lives in GLib's default main context");
}

ks::EmbeddedPlatform& ks_device::embedded() {
  throw Failure(KS_ERROR_UNAVAILABLE, "only an embedded device is fed by its host");
}

void ks_device::shown(const ks::UNMutableNotificationContent& content) {
  handle("shown",
         {{"title", content.title}, {"body", content.body}, {"userInfo", content.userInfo}});
}

void ks_device::alerted(const std::string& text) {
  handle("say",
         {{"kind", static_cast<std::int64_t>(ks::tool::TimelineKind::notification)},
          {"text", "alert: " + text},
          {"details", ks::Dictionary{{"action", "alert"}, {"zone", ks::Null{}}, {"text", text}}}});
}

void ks_device::tellDemand(const ks_demand& demand) {
  if (callbacks_.demand != nullptr) callbacks_.demand(callbacks_.user_data, &demand);
}
