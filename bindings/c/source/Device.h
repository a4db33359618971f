#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "bindings/c/source/Occupation.h"
#include "bindings/c/source/Recording.h"
#include "ksbeacon/ksbeacon.h"
#include "tools/ksbeacon/host/LibraryHost.h"
#include "tools/ksbeacon/host/ObservedPlatform.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks {
class EmbeddedPlatform;
}

/// What stands behind a handle: a platform, the library on it and the caller's callbacks.
///
/// The engine must not be called from its observers, so events wait until it has returned: each
/// reaches the caller in a task of the main queue.
struct ks_device {
 public:
  ks_device(const ks_application& application, const ks_callbacks* callbacks);
  ks_device(const ks_device&) = delete;
  ks_device& operator=(const ks_device&) = delete;
  virtual ~ks_device() = default;

  /// Throws `Failure` unless the calling thread is the device's.
  void checkThread() const;
  /// Throws `Failure` inside a callback, or `runOnce`.
  void checkOutside() const;
  /// Begins, or tries again.
  void start();
  bool runOnce(ks::Seconds timeout);
  /// Throws `Failure` when it was not made yet.
  KSProximityManager& manager();
  ks::tool::LibraryHost& library() { return *library_; }
  /// Has the application do something with the library, through the recording if there is one.
  /// Throws `Failure` when the library was not made yet.
  void call(const char* name, ks::Dictionary arguments = {});
  /// As one JSON object.
  std::string healthText();

  virtual int descriptor();
  virtual void setActive(bool active) = 0;
  /// Throws `Failure` on other devices.
  virtual ks::EmbeddedPlatform& embedded();

 protected:
  /// Installs the platform and makes the application on it. `engine` is the device's, `state` the
  /// folder of its user defaults.
  void open(ks::Platform& device, ks::LocationEngine& engine, const std::filesystem::path& state);
  /// Before the platform goes.
  void close();
  /// Tells the library of each transfer.
  std::shared_ptr<ks::HttpObserver> transferObserver();
  void shown(const ks::UNMutableNotificationContent& content);
  void alerted(const std::string& text);
  void tellDemand(const ks_demand& demand);
  virtual bool runTurn(ks::Seconds timeout) = 0;

 private:
  class Transfers;
  void deliver();
  void record(ks::Platform& device, ks::LocationEngine& engine, const std::filesystem::path& state);
  void handle(const std::string& name, ks::Dictionary arguments);
  /// Compares the ailments with those told last after `delay`, and at intervals from then on.
  void watchHealth(ks::Seconds delay);
  void tellHealth();

  ks::capi::Occupation occupation_;
  const std::thread::id thread_ = std::this_thread::get_id();
  ks_callbacks callbacks_{};
  ks::tool::LibraryHost::Options options_;
  std::string recordFile_;
  bool isRecordPrivate_;
  ks::Date start_;
  std::shared_ptr<Transfers> transfers_;
  ks::tool::Timeline timeline_;
  std::shared_ptr<ks::tool::TimelineRecorder> recorder_;
  std::unique_ptr<ks::capi::Recording> recording_;
  std::shared_ptr<ks::tool::ObservedPlatform> platform_;
  std::optional<ks::tool::LibraryHost> library_;
  std::deque<ks::tool::TimelineEvent> undelivered_;
  /// The device's own, which no recording takes down.
  ks::DispatchQueue* mainQueue_ = nullptr;
  ks::Wakeup healthTimer_;
  /// The reasons that were told last; absent before the first time.
  std::optional<std::string> toldAilments_;
  bool isRunning_ = false;
};
