#include "BeaconSDK/Platform/Linux/Notifications/NotificationService.h"

#include <string_view>
#include <utility>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks {

namespace {

constexpr const char* kNotificationsName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
/// The action that a click on the notification itself stands for.
constexpr const char* kDefaultAction = "default";
/// What desktops' sound themes call the sound of an incoming message.
constexpr const char* kSound = "message-new-instant";
/// Far more than any desktop shows, far less than a message may hold.
constexpr std::size_t kLongestTitle = 250;
constexpr std::size_t kLongestBody = 4000;
/// A service that has to be started first needs longer than one that runs.
constexpr Seconds kStartTimeout{20};
constexpr guint8 kNormalUrgency = 1;

bool isOf(const GError& error, GQuark domain, std::initializer_list<int> codes) {
  if (error.domain != domain) return false;
  for (const int code : codes) {
    if (error.code == code) return true;
  }
  return false;
}

/// Whether nobody can have read the call, or whoever did is gone.
bool saysAbsent(const GError& error) {
  return isOf(error, G_DBUS_ERROR,
              {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER, G_DBUS_ERROR_NO_REPLY,
               G_DBUS_ERROR_DISCONNECTED, G_DBUS_ERROR_SPAWN_EXEC_FAILED,
               G_DBUS_ERROR_SPAWN_CHILD_EXITED, G_DBUS_ERROR_SPAWN_CHILD_SIGNALED,
               G_DBUS_ERROR_SPAWN_FAILED}) ||
         isOf(error, G_IO_ERROR, {G_IO_ERROR_NOT_CONNECTED, G_IO_ERROR_CLOSED});
}

bool saysHanging(const GError& error) {
  return isOf(error, G_IO_ERROR, {G_IO_ERROR_TIMED_OUT}) ||
         isOf(error, G_DBUS_ERROR, {G_DBUS_ERROR_TIMEOUT, G_DBUS_ERROR_TIMED_OUT});
}

/// Text that came over the bus, fit for a line of a log.
std::string lineOf(const gchar* text) {
  constexpr std::size_t kLongest = 200;
  std::string line = desktopText(text, kLongest, false);
  for (char& byte : line) {
    if (byte == '\n' || byte == '\t') byte = ' ';
  }
  return line;
}

GVariant* uriOf(const std::filesystem::path& file) {
  const GLibOwned<gchar> uri(g_filename_to_uri(file.c_str(), nullptr, nullptr));
  return g_variant_new_string(uri ? uri.get() : "");
}

}  // namespace

std::string desktopText(const std::string& text, std::size_t limit, bool isMarkup) {
  constexpr std::string_view kEllipsis = "…";
  const bool isCut = text.size() > limit;
  std::string_view kept = text;
  if (isCut) {
    kept = kept.substr(0, limit - kEllipsis.size());
    // A character that would be cut through goes whole.
    const auto isContinuation = [](char byte) { return (byte & '\xC0') == '\x80'; };
    if (isContinuation(text[kept.size()])) {
      while (!kept.empty() && isContinuation(kept.back())) kept.remove_suffix(1);
      if (!kept.empty()) kept.remove_suffix(1);
    }
  }
  const GLibOwned<gchar> valid(g_utf8_make_valid(kept.data(), static_cast<gssize>(kept.size())));
  std::string shown;
  for (const char* byte = valid.get(); *byte != '\0'; ++byte) {
    const bool isControl =
        (static_cast<unsigned char>(*byte) < ' ' && *byte != '\n' && *byte != '\t') ||
        *byte == '\x7F';
    shown += isControl ? ' ' : *byte;
  }
  if (isCut) shown += kEllipsis;
  if (!isMarkup) return shown;
  const GLibOwned<gchar> escaped(g_markup_escape_text(shown.c_str(), -1));
  return escaped.get();
}

NotificationService::NotificationService(DispatchQueue& mainQueue, Console& console,
                                         std::string applicationName, std::string desktopEntry,
                                         Listener listener)
    : console_(console),
      applicationName_(std::move(applicationName)),
      desktopEntry_(std::move(desktopEntry)),
      listener_(std::move(listener)),
      service_(kNotificationsName, mainQueue, [this](bool present) { presenceChanged(present); },
               {MessageBus::session, true}) {
  service_.onSignal(kPath, kNotificationsName, "ActivationToken", "(us)",
                    [this](GVariant* parameters) {
                      const gchar* token = nullptr;
                      g_variant_get(parameters, "(u&s)", &tokenNumber_, &token);
                      token_ = token;
                    });
  service_.onSignal(kPath, kNotificationsName, "ActionInvoked", "(us)",
                    [this](GVariant* parameters) {
                      guint32 number = 0;
                      const gchar* action = nullptr;
                      g_variant_get(parameters, "(u&s)", &number, &action);
                      if (std::string_view(action) != kDefaultAction) return;
                      listener_.opened(number, number == tokenNumber_ ? token_ : "");
                    });
  service_.onSignal(kPath, kNotificationsName, "NotificationClosed", "(uu)",
                    [this](GVariant* parameters) {
                      guint32 number = 0;
                      g_variant_get(parameters, "(uu)", &number, nullptr);
                      listener_.closed(number);
                    });
}

void NotificationService::presenceChanged(bool present) {
  capabilities_.reset();
  serverName_.clear();
  trouble_.clear();
  asking_ = false;
  ++life_;
  if (present) {
    askCapabilities();
  } else {
    giveUpWaiting();
  }
  listener_.presenceChanged(mayBeUsable());
}

bool NotificationService::mayBeUsable() const {
  const BusPresence presence = service_.presence();
  return presence == BusPresence::unknown || presence == BusPresence::startable ||
         presence == BusPresence::present;
}

void NotificationService::show(DesktopNotification notification, Number replaces,
                               std::function<void(Outcome, Number)> done) {
  Waiting waiting{std::move(notification), replaces, std::move(done)};
  if (capabilities_) {
    send(waiting);
  } else {
    waiting_.push_back(std::move(waiting));
    askCapabilities();
  }
}

void NotificationService::askCapabilities() {
  if (std::exchange(asking_, true)) return;
  service_.call({.path = kPath,
                 .interface = kNotificationsName,
                 .method = "GetCapabilities",
                 .replyType = "(as)",
                 .timeout = service_.isPresent() ? BusCall{}.timeout : kStartTimeout},
                [this, life = life_](GVariant* reply, GUnixFDList*, const GError* error) {
                  if (life == life_) capabilitiesArrived(reply, error);
                });
}

void NotificationService::giveUpWaiting() {
  for (const Waiting& each : std::exchange(waiting_, {})) each.done(Outcome::unavailable, 0);
}

void NotificationService::capabilitiesArrived(GVariant* reply, const GError* error) {
  asking_ = false;
  if (error != nullptr && (saysAbsent(*error) || saysHanging(*error))) {
    if (saysHanging(*error)) tellTrouble("the service does not answer");
    giveUpWaiting();
    return;
  }
  // Who cannot say what it shows is shown plain text.
  capabilities_ = {.body = true};
  if (reply != nullptr) {
    capabilities_ = readCapabilities(reply);
    trouble_.clear();
  } else {
    tellTrouble("the service does not say what it can show: " + busErrorText(*error));
  }
  askServerName();
  for (const Waiting& each : std::exchange(waiting_, {})) send(each);
}

NotificationService::Capabilities NotificationService::readCapabilities(GVariant* reply) {
  const GLibOwned<GVariant> names(g_variant_get_child_value(reply, 0));
  GVariantIter iterator;
  g_variant_iter_init(&iterator, names.get());
  Capabilities capabilities;
  const gchar* each = nullptr;
  while (g_variant_iter_next(&iterator, "&s", &each) != FALSE) {
    const std::string_view name(each);
    if (name == "body") capabilities.body = true;
    if (name == "body-markup") capabilities.markup = true;
    if (name == "actions") capabilities.actions = true;
  }
  return capabilities;
}

void NotificationService::askServerName() {
  service_.call({.path = kPath,
                 .interface = kNotificationsName,
                 .method = "GetServerInformation",
                 .replyType = "(ssss)"},
                [this](GVariant* reply, GUnixFDList*, const GError*) {
                  if (reply == nullptr || !capabilities_) return;
                  const gchar* name = nullptr;
                  const gchar* version = nullptr;
                  g_variant_get(reply, "(&s&s&s&s)", &name, nullptr, &version, nullptr);
                  serverName_ = lineOf(name) + " " + lineOf(version);
                });
}

void NotificationService::send(const Waiting& waiting) {
  service_.call({.path = kPath,
                 .interface = kNotificationsName,
                 .method = "Notify",
                 .parameters = parametersFor(waiting.notification, waiting.replaces),
                 .replyType = "(u)"},
                [this, done = waiting.done](GVariant* reply, GUnixFDList*, const GError* error) {
                  sent(reply, error, done);
                });
}

GVariant* NotificationService::parametersFor(const DesktopNotification& notification,
                                             Number replaces) const {
  // Without room for a body the body is what must be read.
  const bool showsBody = capabilities_->body;
  const std::string& title = !notification.title.empty() ? notification.title : applicationName_;
  const std::string& summary = showsBody || notification.body.empty() ? title : notification.body;
  GVariantBuilder actions;
  g_variant_builder_init(&actions, G_VARIANT_TYPE("as"));
  if (capabilities_->actions) {
    g_variant_builder_add(&actions, "s", kDefaultAction);
    g_variant_builder_add(&actions, "s", "Open");
  }
  GVariantBuilder hints;
  g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&hints, "{sv}", "desktop-entry",
                        g_variant_new_string(desktopEntry_.c_str()));
  g_variant_builder_add(&hints, "{sv}", "urgency", g_variant_new_byte(kNormalUrgency));
  if (notification.sound) {
    g_variant_builder_add(&hints, "{sv}", "sound-name", g_variant_new_string(kSound));
  } else {
    g_variant_builder_add(&hints, "{sv}", "suppress-sound", g_variant_new_boolean(TRUE));
  }
  if (!notification.image.empty()) {
    g_variant_builder_add(&hints, "{sv}", "image-path", uriOf(notification.image));
  }
  constexpr gint32 kServicesOwnDuration = -1;
  return g_variant_new(
      "(su@sssasa{sv}i)", applicationName_.c_str(), replaces,
      notification.icon.empty() ? g_variant_new_string("") : uriOf(notification.icon),
      desktopText(summary, kLongestTitle, false).c_str(),
      showsBody ? desktopText(notification.body, kLongestBody, capabilities_->markup).c_str() : "",
      &actions, &hints, kServicesOwnDuration);
}

void NotificationService::sent(GVariant* reply, const GError* error,
                               const std::function<void(Outcome, Number)>& done) {
  if (error != nullptr && saysAbsent(*error)) {
    done(Outcome::unavailable, 0);
    return;
  }
  Number number = 0;
  if (reply != nullptr) g_variant_get(reply, "(u)", &number);
  if (number != 0) {
    trouble_.clear();
    toldTrouble_ = false;
    done(Outcome::shown, number);
    return;
  }
  // It may have been shown all the same, so it is not sent twice; the next one asks first.
  if (error != nullptr && saysHanging(*error)) {
    capabilities_.reset();
    tellTrouble("the service does not answer");
  } else {
    tellTrouble(error != nullptr ? "the service refused: " + busErrorText(*error)
                                 : "the service gave no number");
  }
  done(Outcome::failed, 0);
}

void NotificationService::close(Number number) {
  // A service that is not there shows nothing, and must not be started for this.
  if (!service_.isPresent()) return;
  service_.call({.path = kPath,
                 .interface = kNotificationsName,
                 .method = "CloseNotification",
                 .parameters = g_variant_new("(u)", number)},
                [](GVariant*, GUnixFDList*, const GError*) {});
}

void NotificationService::tellTrouble(const std::string& trouble) {
  trouble_ = trouble;
  if (!std::exchange(toldTrouble_, true)) {
    console_.log("Notifications cannot be shown: " + trouble);
  }
}

ServiceState NotificationService::state() const {
  constexpr const char* kTitle = "Notifications";
  switch (service_.presence()) {
    case BusPresence::unknown:
      return {kTitle, false, "the session bus has not answered yet", ""};
    case BusPresence::noBus:
      return {kTitle, false, "no session bus: this process belongs to no desktop",
              "apt install dbus-user-session"};
    case BusPresence::absent:
      return {kTitle, false, "no notification service on the session bus", "apt install dunst"};
    case BusPresence::startable:
    case BusPresence::present:
      break;
  }
  if (!trouble_.empty()) {
    return {kTitle, false, trouble_, "restart the desktop's notification service"};
  }
  if (!service_.isPresent()) {
    return {kTitle, true, "the first notification starts the desktop's service", ""};
  }
  if (!capabilities_) return {kTitle, false, "the service has not answered yet", ""};
  std::string detail = "shown by " + (serverName_.empty() ? "the desktop's service" : serverName_);
  if (!capabilities_->actions) detail += ", which cannot open them";
  return {kTitle, true, detail, ""};
}

}  // namespace ks
