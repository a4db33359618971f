#include "BeaconSDK/Platform/Linux/LinuxApplication.h"

#include <algorithm>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Linux/Machine/SessionEvents.h"
#include "BeaconSDK/Platform/Linux/Machine/SleepInhibitor.h"

namespace ks {

namespace {

/// An interval of 0 asks for fetches as often as the system allows.
constexpr Seconds kShortestFetchInterval{1};

}  // namespace

LinuxApplication::LinuxApplication(Clock& clock, DispatchQueue& mainQueue,
                                   NSNotificationCenter& center, Console& console,
                                   const std::string& applicationName)
    : DeviceApplication(mainQueue, center),
      clock_(clock),
      mainQueue_(mainQueue),
      console_(console),
      lastFetch_(clock.now()) {
  session_ = std::make_unique<SessionEvents>(
      mainQueue, SessionEvents::Listener{
                     .lockChanged = [this] { updateActive(); },
                     .sleepChanged = [this] { sleepChanged(); },
                     .presenceChanged = [this] { inhibitor_->servicePresenceChanged(); },
                 });
  inhibitor_ = std::make_unique<SleepInhibitor>(
      session_->service(), applicationName, [this](const std::string& reason) {
        console_.log("Background work cannot hold off sleep: " + reason);
      });
}

LinuxApplication::~LinuxApplication() = default;

void LinuxApplication::becomeActive() {
  foreground_ = true;
  updateActive();
}

void LinuxApplication::resignActive() {
  foreground_ = false;
  updateActive();
}

void LinuxApplication::updateActive() {
  setActive(foreground_ && !session_->isLocked() && !session_->isAsleep());
}

void LinuxApplication::sleepChanged() {
  updateActive();
  if (session_->isAsleep()) {
    expireBackgroundTasks();
  } else {
    // The monotonic clock stood still meanwhile, so the timer is late.
    armFetch();
  }
}

void LinuxApplication::setMinimumBackgroundFetchInterval(Seconds interval) {
  DeviceApplication::setMinimumBackgroundFetchInterval(std::max(interval, kShortestFetchInterval));
  armFetch();
}

void LinuxApplication::setBackgroundFetchHandler(FetchHandler handler) {
  fetchHandler_ = std::move(handler);
  armFetch();
}

void LinuxApplication::armFetch() {
  fetchTimer_.cancel();
  const auto interval = minimumBackgroundFetchInterval();
  if (!fetchHandler_ || !interval || fetching_) return;
  // A wall clock that was set back does not put the fetch off beyond one interval.
  const Seconds since = std::max(Seconds{0}, clock_.now() - lastFetch_);
  fetchTimer_.arm(mainQueue_, std::max(Seconds{0}, *interval - since), [this] { fetch(); });
}

void LinuxApplication::fetch() {
  fetching_ = true;
  lastFetch_ = clock_.now();
  const UIBackgroundTaskIdentifier task = beginBackgroundTask({});
  const auto done = [this, task, alive = lifetime()](UIBackgroundFetchResult) {
    if (alive.expired() || !runningTasks().contains(task)) return;
    endBackgroundTask(task);
    fetching_ = false;
    armFetch();
  };
  // The handler may replace itself.
  const FetchHandler handler = fetchHandler_;
  handler(done);
}

void LinuxApplication::backgroundWorkChanged(bool isRunning) { inhibitor_->setWanted(isRunning); }

void LinuxApplication::present(const UILocalNotification& notification) {
  console_.log(notification.alertBody);
  if (presenter_) presenter_(notification);
}

ServiceState LinuxApplication::state() const {
  ServiceState state = session_->state();
  if (inhibitor_->isHeld()) state.detail += "; background work holds off sleep";
  return state;
}

}  // namespace ks
