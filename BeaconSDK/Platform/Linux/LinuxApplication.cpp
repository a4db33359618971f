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
    : clock_(clock),
      mainQueue_(mainQueue),
      center_(center),
      console_(console),
      lastFetch_(clock.now()),
      localNotifications_(mainQueue, [this](const UILocalNotification& due) { present(due); }) {
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
  const bool active = foreground_ && !session_->isLocked() && !session_->isAsleep();
  if (std::exchange(active_, active) == active) return;
  const char* const name =
      active ? UIApplicationDidBecomeActiveNotification : UIApplicationWillResignActiveNotification;
  mainQueue_.async([this, name, alive = std::weak_ptr(alive_)] {
    if (!alive.expired()) center_.post({name, nullptr, {}});
  });
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
  fetchInterval_ = std::max(interval, kShortestFetchInterval);
  armFetch();
}

void LinuxApplication::setBackgroundFetchHandler(FetchHandler handler) {
  fetchHandler_ = std::move(handler);
  armFetch();
}

void LinuxApplication::armFetch() {
  fetchTimer_.cancel();
  if (!fetchHandler_ || !fetchInterval_ || fetching_) return;
  // A wall clock that was set back does not put the fetch off beyond one interval.
  const Seconds since = std::max(Seconds{0}, clock_.now() - lastFetch_);
  fetchTimer_.arm(mainQueue_, std::max(Seconds{0}, *fetchInterval_ - since), [this] { fetch(); });
}

void LinuxApplication::fetch() {
  fetching_ = true;
  lastFetch_ = clock_.now();
  const UIBackgroundTaskIdentifier task = beginBackgroundTask({});
  const auto done = [this, task, alive = std::weak_ptr(alive_)](UIBackgroundFetchResult) {
    if (alive.expired() || !backgroundTasks_.contains(task)) return;
    endBackgroundTask(task);
    fetching_ = false;
    armFetch();
  };
  // The handler may replace itself.
  const FetchHandler handler = fetchHandler_;
  handler(done);
}

UIBackgroundTaskIdentifier LinuxApplication::beginBackgroundTask(
    std::function<void()> expirationHandler) {
  backgroundTasks_.emplace(++lastBackgroundTask_, std::move(expirationHandler));
  inhibitor_->setWanted(true);
  return lastBackgroundTask_;
}

void LinuxApplication::endBackgroundTask(UIBackgroundTaskIdentifier task) {
  if (backgroundTasks_.erase(task) == 0) return;
  if (backgroundTasks_.empty()) inhibitor_->setWanted(false);
}

void LinuxApplication::expireBackgroundTasks() {
  for (const auto& [task, handler] : backgroundTasks_) {
    if (!handler) continue;
    mainQueue_.async([this, task = task, handler = handler, alive = std::weak_ptr(alive_)] {
      if (!alive.expired() && backgroundTasks_.contains(task)) handler();
    });
  }
}

void LinuxApplication::showAlertView(const UIAlertView& alert) {
  UILocalNotification notification;
  notification.alertBody = alert.message.empty() ? alert.title : alert.title + "\n" + alert.message;
  present(notification);
}

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
