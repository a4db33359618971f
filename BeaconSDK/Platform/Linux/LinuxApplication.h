#pragma once

#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Common/DeviceApplication.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

class SessionEvents;
class SleepInhibitor;

/// The host application on a Linux machine. Main queue only.
///
/// Active while its host says so, the session is unlocked and the machine is awake; initially
/// inactive. Background tasks inhibit sleep; if the machine sleeps all the same, they expire.
class LinuxApplication : public DeviceApplication {
 public:
  /// Runs the application's background work; the function that it receives must be called once, on
  /// the main queue, when the work is done.
  using FetchHandler = std::function<void(std::function<void(UIBackgroundFetchResult)>)>;
  /// Shows a message to the user.
  using Presenter = std::function<void(const UILocalNotification&)>;

  /// `applicationName` is shown by the session service as the reason why sleep is inhibited.
  LinuxApplication(Clock& clock, DispatchQueue& mainQueue, NSNotificationCenter& center,
                   Console& console, const std::string& applicationName);
  LinuxApplication(const LinuxApplication&) = delete;
  LinuxApplication& operator=(const LinuxApplication&) = delete;
  ~LinuxApplication() override;

  void setMinimumBackgroundFetchInterval(Seconds interval) override;

  /// Call when the host came to the front, or went to the back.
  void becomeActive();
  void resignActive();

  /// Sets the function called at the minimum interval, one run at a time; may be null.
  void setBackgroundFetchHandler(FetchHandler handler);
  /// Sets the function that shows local notifications and alerts, besides the log; may be null.
  void setPresenter(Presenter presenter) { presenter_ = std::move(presenter); }

  ServiceState state() const;

 private:
  void updateActive();
  void sleepChanged();
  void armFetch();
  void fetch();
  void present(const UILocalNotification& notification) override;
  void backgroundWorkChanged(bool isRunning) override;

  Clock& clock_;
  DispatchQueue& mainQueue_;
  Console& console_;
  Presenter presenter_;

  bool foreground_ = false;

  FetchHandler fetchHandler_;
  Date lastFetch_;
  bool fetching_ = false;
  Wakeup fetchTimer_;

  std::unique_ptr<SessionEvents> session_;
  std::unique_ptr<SleepInhibitor> inhibitor_;
};

}  // namespace ks
