#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Linux/Bus/BusService.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"

namespace ks {

/// What the desktop is asked to show. The texts are plain, of any length and any bytes.
struct DesktopNotification {
  std::string title;
  std::string body;
  bool sound = false;
  std::filesystem::path icon;
  std::filesystem::path image;
};

/// The text as the notification service takes it: valid UTF-8 without control characters other than
/// line breaks and tabs, at most `limit` bytes, an ellipsis in place of the rest; escaped where the
/// service reads markup.
std::string desktopText(const std::string& text, std::size_t limit, bool isMarkup);

/// The desktop's notification service (org.freedesktop.Notifications) on the session bus. Where the
/// bus can start it, the first notification does. Main thread only.
class NotificationService {
 public:
  /// The service's number of a notification; never 0.
  using Number = std::uint32_t;
  enum class Outcome {
    shown,
    /// Nobody was there who could have shown it.
    unavailable,
    /// Refused, or not answered in time.
    failed,
  };
  struct Listener {
    /// The service came or can be started (true), or went and took with it all that it showed.
    std::function<void(bool usable)> presenceChanged;
    /// The token is empty where the desktop gives none.
    std::function<void(Number, const std::string& activationToken)> opened;
    std::function<void(Number)> closed;
  };

  NotificationService(DispatchQueue& mainQueue, Console& console, std::string applicationName,
                      std::string desktopEntry, Listener listener);

  /// False when it is certain that nobody can show anything now.
  bool mayBeUsable() const;
  /// `replaces` is 0 for a further notification. `done` comes once, later.
  void show(DesktopNotification notification, Number replaces,
            std::function<void(Outcome, Number)> done);
  void close(Number number);
  ServiceState state() const;
  /// Logs once that notifications cannot be shown, until one is.
  void tellTrouble(const std::string& trouble);

 private:
  /// What the service shows and does.
  struct Capabilities {
    bool body = false;
    bool markup = false;
    bool actions = false;
  };
  struct Waiting {
    DesktopNotification notification;
    Number replaces;
    std::function<void(Outcome, Number)> done;
  };

  void presenceChanged(bool present);
  void askCapabilities();
  void capabilitiesArrived(GVariant* reply, const GError* error);
  void giveUpWaiting();
  static Capabilities readCapabilities(GVariant* reply);
  void askServerName();
  void send(const Waiting& waiting);
  GVariant* parametersFor(const DesktopNotification& notification, Number replaces) const;
  void sent(GVariant* reply, const GError* error, const std::function<void(Outcome, Number)>& done);

  Console& console_;
  const std::string applicationName_;
  const std::string desktopEntry_;
  Listener listener_;
  /// "dunst 1.9.0"; empty until the service has said so.
  std::string serverName_;
  /// Absent until the service has answered, and again when it went.
  std::optional<Capabilities> capabilities_;
  bool asking_ = false;
  /// Which of the service's lives is asked: an answer of an earlier one counts no more.
  std::uint64_t life_ = 0;
  /// Until the capabilities are known.
  std::deque<Waiting> waiting_;
  /// Why the last notification was not shown; empty when it was.
  std::string trouble_;
  bool toldTrouble_ = false;
  /// Of the notification that is about to be opened.
  Number tokenNumber_ = 0;
  std::string token_;
  BusService service_;
};

}  // namespace ks
