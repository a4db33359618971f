#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "BeaconSDK/Platform/Common/ForwardingPlatform.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace ks::testing {

/// What can go wrong in a device's services.
enum class Fault {
  none,
  storeDefaults,
  synchronizeDefaults,
  /// The session is dead from the start: nothing that it is asked for is ever reported.
  makeSession,
  loadData,
  addNotification,
  backgroundTask,
  bluetooth
};

/// A simulated device that fails a few calls: everything else is forwarded.
class FaultyPlatform : public ForwardingPlatform {
 public:
  explicit FaultyPlatform(std::shared_ptr<SimulatedPlatform> device)
      : ForwardingPlatform(*device), device_(std::move(device)) {}

  /// From the `nth` call on, counted from 1 and from now, `count` calls of this kind fail.
  void fail(Fault fault, int nth, int count = 1) { plan_ = {fault, nth - 1, count, 0}; }
  void recover() { plan_.count = 0; }
  /// How many calls have failed since `fail`.
  int failures() const { return plan_.failures; }

  NSUserDefaults& userDefaults() override { return defaults_; }
  std::unique_ptr<CBCentralManager> makeCentralManager(
      CBCentralManagerDelegate& delegate) override {
    if (strikes(Fault::bluetooth)) return std::make_unique<UnsupportedCentral>();
    return ForwardingPlatform::makeCentralManager(delegate);
  }
  UNUserNotificationCenter* userNotificationCenter() override { return &notifications_; }
  URLLoadingSystem& urlLoadingSystem() override { return loading_; }
  UIApplication& application() override { return application_; }

 protected:
  SimulatedPlatform& simulated() const { return *device_; }

 private:
  struct Plan {
    Fault fault = Fault::none;
    int spared = 0;
    int count = 0;
    int failures = 0;
  };

  bool strikes(Fault fault) {
    if (plan_.fault != fault || plan_.count == 0) return false;
    if (plan_.spared > 0) {
      --plan_.spared;
      return false;
    }
    --plan_.count;
    ++plan_.failures;
    return true;
  }

  struct Part {
    FaultyPlatform& owner;
    SimulatedPlatform& device() const { return *owner.device_; }
  };
  struct Defaults : Part, NSUserDefaults {
    explicit Defaults(FaultyPlatform& owner) : Part{owner} {}
    Value objectForKey(std::string_view key) const override {
      return device().userDefaults().objectForKey(key);
    }
    void setObject(std::string_view key, Value value) override {
      if (owner.strikes(Fault::storeDefaults)) return;
      device().userDefaults().setObject(key, std::move(value));
    }
    bool synchronize() override {
      return !owner.strikes(Fault::synchronizeDefaults) && device().userDefaults().synchronize();
    }
  };
  struct Loading : Part, URLLoadingSystem {
    explicit Loading(FaultyPlatform& owner) : Part{owner} {}
    std::shared_ptr<NSURLSession> makeSession(
        NSURLSessionConfiguration configuration,
        std::weak_ptr<NSURLSessionDelegate> delegate) override {
      auto session =
          device().urlLoadingSystem().makeSession(std::move(configuration), std::move(delegate));
      if (owner.strikes(Fault::makeSession)) session->invalidateAndCancel();
      return session;
    }
    std::optional<Data> dataWithContentsOfURL(const NSURL& url, const DataLimits& limits) override {
      if (owner.strikes(Fault::loadData)) return std::nullopt;
      return device().urlLoadingSystem().dataWithContentsOfURL(url, limits);
    }
  };
  struct Notifications : Part, UNUserNotificationCenter {
    explicit Notifications(FaultyPlatform& owner) : Part{owner} {}
    void addNotificationRequest(
        UNNotificationRequest request,
        std::function<void(const std::optional<Error>&)> completion) override {
      if (!owner.strikes(Fault::addNotification)) {
        device().simulatedNotificationCenter().addNotificationRequest(std::move(request),
                                                                      std::move(completion));
        return;
      }
      device().mainQueue().async([completion = std::move(completion)] {
        completion(Error{UNErrorDomain, static_cast<std::int64_t>(UNError::notificationsNotAllowed),
                         "refused"});
      });
    }
  };
  struct Application : Part, UIApplication {
    explicit Application(FaultyPlatform& owner) : Part{owner} {}
    void setMinimumBackgroundFetchInterval(Seconds interval) override {
      device().application().setMinimumBackgroundFetchInterval(interval);
    }
    UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expiration) override {
      if (owner.strikes(Fault::backgroundTask)) return UIBackgroundTaskInvalid;
      return device().application().beginBackgroundTask(std::move(expiration));
    }
    void endBackgroundTask(UIBackgroundTaskIdentifier task) override {
      device().application().endBackgroundTask(task);
    }
    void scheduleLocalNotification(UILocalNotification notification) override {
      device().application().scheduleLocalNotification(std::move(notification));
    }
    void cancelAllLocalNotifications() override {
      device().application().cancelAllLocalNotifications();
    }
    void showAlertView(const UIAlertView& alert) override {
      device().application().showAlertView(alert);
    }
  };
  struct UnsupportedCentral : CBCentralManager {
    CBManagerState state() const override { return CBManagerState::unsupported; }
    bool isScanning() const override { return false; }
    void scanForPeripheralsWithServices(const std::vector<CBUUID>&) override {}
    void stopScan() override {}
  };

  std::shared_ptr<SimulatedPlatform> device_;
  Plan plan_;
  Defaults defaults_{*this};
  Loading loading_{*this};
  Notifications notifications_{*this};
  Application application_{*this};
};

}  // namespace ks::testing
