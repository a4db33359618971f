#include "BeaconSDK/Platform/Linux/Machine/SessionEvents.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

namespace ks {

namespace {

constexpr const char* kLoginName = "org.freedesktop.login1";
constexpr const char* kPath = "/org/freedesktop/login1";
constexpr const char* kManager = "org.freedesktop.login1.Manager";
constexpr const char* kSession = "org.freedesktop.login1.Session";
constexpr const char* kUser = "org.freedesktop.login1.User";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

/// The object path in a reply of type (o).
std::string pathOf(GVariant* reply) {
  const gchar* path = nullptr;
  g_variant_get(reply, "(&o)", &path);
  return path;
}

/// Never another login service than the machine's own: elogind and systemd exclude each other, so
/// installing the one removes the other, and with it most of what the machine runs.
std::string loginServiceMend() {
  const auto isInstalled = [](const char* program) {
    std::error_code ignored;
    return std::filesystem::exists(program, ignored);
  };
  if (isInstalled("/lib/systemd/systemd-logind")) return "systemctl start systemd-logind";
  return isInstalled("/lib/elogind/elogind") ? "service elogind start" : "apt install systemd";
}

}  // namespace

SessionEvents::SessionEvents(DispatchQueue& mainQueue, Listener listener)
    : listener_(std::move(listener)),
      service_(kLoginName, mainQueue, [this](bool present) { presenceChanged(present); }) {
  service_.onSignal(kPath, kManager, "PrepareForSleep", "(b)", [this](GVariant* parameters) {
    gboolean begins = FALSE;
    g_variant_get(parameters, "(b)", &begins);
    setAsleep(begins != FALSE);
  });
}

void SessionEvents::presenceChanged(bool present) {
  if (present) {
    findSession();
    readProperty(kPath, kManager, "PreparingForSleep", &SessionEvents::setAsleep);
  } else {
    // Nobody would tell of the waking; session and lock are asked for again when the service is
    // back.
    setAsleep(false);
    if (!session_.empty()) service_.forgetSignals(std::exchange(session_, {}));
  }
  listener_.presenceChanged();
}

void SessionEvents::findSession() {
  const char* const identifier = std::getenv("XDG_SESSION_ID");
  if (identifier == nullptr || *identifier == '\0') {
    findDisplaySession();
    return;
  }
  service_.call({.path = kPath,
                 .interface = kManager,
                 .method = "GetSession",
                 .parameters = g_variant_new("(s)", identifier),
                 .replyType = "(o)"},
                [this](GVariant* reply, GUnixFDList*, const GError*) {
                  if (reply != nullptr) {
                    useSession(pathOf(reply));
                  } else {
                    findDisplaySession();
                  }
                });
}

/// A service of the user manager belongs to no session: the user's graphical one is meant.
void SessionEvents::findDisplaySession() {
  const auto readDisplay = [this](GVariant* reply, GUnixFDList*, const GError*) {
    if (reply == nullptr) {
      useSession("");
      return;
    }
    service_.call({.path = pathOf(reply),
                   .interface = kProperties,
                   .method = "Get",
                   .parameters = g_variant_new("(ss)", kUser, "Display"),
                   .replyType = "(v)"},
                  [this](GVariant* display, GUnixFDList*, const GError*) {
                    const gchar* path = "";
                    GVariant* value = nullptr;
                    if (display != nullptr) g_variant_get(display, "(v)", &value);
                    if (value != nullptr && g_variant_is_of_type(value, G_VARIANT_TYPE("(so)"))) {
                      g_variant_get(value, "(&s&o)", nullptr, &path);
                    }
                    useSession(std::string_view(path) == "/" ? "" : path);
                    if (value != nullptr) g_variant_unref(value);
                  });
  };
  service_.call({.path = kPath,
                 .interface = kManager,
                 .method = "GetUser",
                 .parameters = g_variant_new("(u)", geteuid()),
                 .replyType = "(o)"},
                readDisplay);
}

void SessionEvents::useSession(std::string path) {
  if (path != session_) {
    if (!session_.empty()) service_.forgetSignals(session_);
    session_ = std::move(path);
    if (!session_.empty()) {
      service_.onSignal(session_, kSession, "Lock", "()", [this](GVariant*) { setLocked(true); });
      service_.onSignal(session_, kSession, "Unlock", "()",
                        [this](GVariant*) { setLocked(false); });
      service_.onSignal(session_, kProperties, "PropertiesChanged", "(sa{sv}as)",
                        [this](GVariant* parameters) {
                          GVariant* changed = g_variant_get_child_value(parameters, 1);
                          gboolean locked = FALSE;
                          if (g_variant_lookup(changed, "LockedHint", "b", &locked)) {
                            setLocked(locked != FALSE);
                          }
                          g_variant_unref(changed);
                        });
    }
  }
  if (session_.empty()) {
    setLocked(false);
  } else {
    readProperty(session_, kSession, "LockedHint", &SessionEvents::setLocked);
  }
}

void SessionEvents::readProperty(const std::string& path, const char* interface,
                                 const char* property, void (SessionEvents::*set)(bool)) {
  service_.call({.path = path,
                 .interface = kProperties,
                 .method = "Get",
                 .parameters = g_variant_new("(ss)", interface, property),
                 .replyType = "(v)"},
                [this, set](GVariant* reply, GUnixFDList*, const GError*) {
                  if (reply == nullptr) return;
                  GVariant* value = nullptr;
                  g_variant_get(reply, "(v)", &value);
                  const bool isFlag = g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN) != FALSE;
                  const bool flag = isFlag && g_variant_get_boolean(value) != FALSE;
                  g_variant_unref(value);
                  if (isFlag) (this->*set)(flag);
                });
}

void SessionEvents::setLocked(bool locked) {
  if (std::exchange(locked_, locked) != locked) listener_.lockChanged();
}

void SessionEvents::setAsleep(bool asleep) {
  if (std::exchange(asleep_, asleep) != asleep) listener_.sleepChanged();
}

ServiceState SessionEvents::state() const {
  if (!service_.isPresent()) {
    return {"Session", false,
            "no login service on the system bus: lock and sleep go unnoticed, and background "
            "work does not hold off sleep",
            loginServiceMend()};
  }
  if (session_.empty()) {
    return {"Session", true, "told of sleep; this process belongs to no session that locks", ""};
  }
  return {"Session", true, locked_ ? "the session is locked" : "the session is unlocked", ""};
}

}  // namespace ks
