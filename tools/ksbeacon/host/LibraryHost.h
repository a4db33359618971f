#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Manager/KSProximityManager.h"
#include "tools/ksbeacon/timeline/TimelineRecorder.h"

namespace ks::tool {

/// An application's dealings with the library on the current platform: makes it, starts it, says
/// what its user wants and tells the timeline what comes of it. Main queue only.
class LibraryHost {
 public:
  struct Options {
    std::string username;
    std::string password;
    std::string portalURL;
    ks::Refinements refinements;
    ks::Consent consent;
    /// Set at the launch.
    std::vector<std::pair<std::string, std::string>> tags;
    /// Switched when the library runs.
    std::vector<std::string> enabledCategories;
    std::vector<std::string> disabledCategories;
    /// Has each announced content shown as a local notification.
    bool showsNotifications = true;
    /// Whether the main queue may wait while pictures are fetched; in virtual time it costs
    /// nothing.
    bool waitsForPictures = true;
    /// Has the library write its trace.
    bool log = false;
    /// Told how each attempt to start ended, or that the portal refused the user, after the
    /// timeline; may be empty.
    std::function<void(const std::optional<Error>&)> started;
  };

  LibraryHost(std::shared_ptr<TimelineRecorder> recorder, Options options);
  LibraryHost(const LibraryHost&) = delete;
  LibraryHost& operator=(const LibraryHost&) = delete;
  /// As when the process is killed: nothing is told to the library.
  ~LibraryHost();

  /// Makes the library, in place of an earlier one, and starts it. False when it cannot be made.
  bool launch(const std::string& announcement);
  /// Does nothing while the library runs or is starting.
  void start();
  /// The portal refused the user while the library was starting. It then counts as starting for
  /// good: only another launch helps.
  bool isRefused() const { return isRefused_ && manager_->starting(); }
  /// Every transfer of the device, after the library was told.
  void transferEnded(const HttpExchange& exchange);
  /// Null until the launch.
  KSProximityManager* manager() { return manager_.get(); }
  void fetchInBackground(KSProximityManager::FetchCompletion completion = {});
  /// As when the system wakes the application for its background session: the timeline is told when
  /// the transfers under way, or the next ones, have ended.
  void finishBackgroundTransfers();
  void switchCategory(const std::string& identifier, bool enabled);
  /// The user opens an announced content, or has it shown again.
  void openContent(const std::string& identifier);
  void showContent(const std::string& identifier);
  /// The device showed a notification with this title, body and information.
  void notificationShown(const std::string& title, const std::string& body,
                         const Dictionary& userInfo);
  /// The user opens the notification with this information.
  void openNotification(const Dictionary& userInfo);
  /// The library runs: asks the portal anew for all that is older than now.
  void refresh();
  /// Tells the timeline how the library is and which zones it holds entered.
  void look();
  void say(std::string text) { recorder_->say(TimelineKind::application, std::move(text)); }

  /// Does what `name` says, "launch", "fetch", "setTag", ...: what a recording holds of the
  /// application. Unknown names are ignored.
  void handle(const std::string& name, const Dictionary& arguments);

 private:
  void observe();
  void startEnded(const std::optional<Error>& error);
  void announced(const NSNotification& notification);
  std::shared_ptr<KSProximityZone> announcedZone(const std::string& content);
  void show(const std::shared_ptr<KSProximityZone>& zone);
  /// The zone that a notification's information names, or null.
  std::shared_ptr<KSProximityZone> zoneIn(const Dictionary& userInfo) const;
  void open(const std::shared_ptr<KSProximityZone>& zone);

  std::shared_ptr<TimelineRecorder> recorder_;
  Options options_;
  std::vector<NSNotificationCenter::Observation> observations_;
  std::shared_ptr<KSProximityManager> manager_;
  bool isRefused_ = false;
  /// The zones that were announced, by their contents' identifiers.
  std::map<std::string, std::shared_ptr<KSProximityZone>> announced_;
};

/// The names of the classes that the user forbids, and back; unknown names are ignored.
Array withoutList(const ks::Consent& consent);
ks::Consent consentWithout(const Value& names);

/// What a person sees of a content: its title and its message, as far as it has them.
std::string shownText(const std::string& title, const std::string& message);

}  // namespace ks::tool
