// A desktop application: the library joins GTK's main loop, and its window shows how the machine's
// services stand, the zones around and what happens.
#include <glib-unix.h>
#include <gtk/gtk.h>

#include <csignal>
#include <memory>
#include <string>

#include "BeaconSDK/KSBeaconSDK.h"
#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"

namespace {

constexpr const char* kUsable = "<span foreground='#2E7D32'>\u25CF</span> ";
constexpr const char* kMissing = "<span foreground='#C62828'>\u25CF</span> ";

std::string escaped(const std::string& text) {
  char* const markup = g_markup_escape_text(text.c_str(), -1);
  std::string copy = markup;
  g_free(markup);
  return copy;
}

/// One titled text of the window.
class Section {
 public:
  Section(GtkBox* box, const char* title) {
    GtkWidget* const heading = gtk_label_new(nullptr);
    gtk_label_set_markup(GTK_LABEL(heading), ("<b>" + escaped(title) + "</b>").c_str());
    label_ = GTK_LABEL(gtk_label_new(nullptr));
    gtk_label_set_wrap(label_, TRUE);
    gtk_label_set_xalign(GTK_LABEL(heading), 0);
    gtk_label_set_xalign(label_, 0);
    gtk_box_append(box, heading);
    gtk_box_append(box, GTK_WIDGET(label_));
  }
  void setMarkup(const std::string& markup) { gtk_label_set_markup(label_, markup.c_str()); }
  void setText(const std::string& text) { setMarkup(escaped(text)); }

 private:
  GtkLabel* label_;
};

/// The window and the library behind it.
class Host {
 public:
  Host(GtkApplication* application, std::shared_ptr<ks::LinuxPlatform> device,
       const std::string& portal)
      : device_(std::move(device)),
        window_(GTK_WINDOW(gtk_application_window_new(application))),
        box_(GTK_BOX(gtk_box_new(GTK_ORIENTATION_VERTICAL, 6))) {
    gtk_window_set_title(window_, "Beacons");
    gtk_window_set_default_size(window_, 480, 360);
    for (const auto set : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom,
                           gtk_widget_set_margin_start, gtk_widget_set_margin_end}) {
      set(GTK_WIDGET(box_), 12);
    }
    gtk_window_set_child(window_, GTK_WIDGET(box_));
    manager_ =
        KSProximityManager::initWithUsername("demo", "demo", ks::NSURL{portal}, {"en", "US"});
    if (manager_) startLibrary();
    g_signal_connect_swapped(window_, "notify::is-active", G_CALLBACK(activeChanged), this);
    timer_ = g_timeout_add_seconds(1, refresh, this);
    gtk_window_present(window_);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() {
    g_source_remove(timer_);
    g_signal_handlers_disconnect_by_data(window_, this);
  }
  GtkWindow* window() const { return window_; }

 private:
  void startLibrary() {
    observation_ = device_->notificationCenter().addObserver(
        KSProximityManagerTriggerContentNotification,
        [this](const ks::NSNotification& notification) { announced(notification); });
    if (auto* const notifications = device_->linuxNotificationCenter()) {
      notifications->setResponseHandler([this](const auto& response) { opened(response); });
    }
    library_.setText("starting");
    manager_->start([this](const std::optional<ks::Error>& error) {
      library_.setText(error ? error->localizedDescription() : "running");
    });
  }
  void announced(const ks::NSNotification& notification) {
    const auto zone = KSProximityManager::proximityZoneFromNotification(notification);
    if (!zone || !zone->content()) return;
    happened_.setText(zone->content()->message.value_or(""));
    manager_->showNotificationForProximityZone(zone);
  }
  void opened(const ks::UNNotificationResponse& response) {
    const ks::Dictionary& userInfo = response.request.content.userInfo;
    const auto zone = manager_->proximityZoneForIdentifier(
        userInfo["beaconIdentifier"].stringValue().value_or(""),
        static_cast<KSContentDownloadType>(userInfo["contentType"].integerValue()));
    if (!zone) return;
    happened_.setText("Opened: " + zone->name().value_or(""));
    manager_->incrementLoyaltyForProximityZone(zone);
    // Without the token the desktop would only mark the window as wanting attention.
    if (!response.activationToken.empty()) {
      gtk_window_set_startup_id(window_, response.activationToken.c_str());
    }
    gtk_window_present(window_);
  }
  static gboolean refresh(gpointer host) {
    static_cast<Host*>(host)->showStates();
    return G_SOURCE_CONTINUE;
  }
  void showStates() {
    std::string states;
    for (const ks::ServiceState& state : device_->serviceStates()) {
      states += (states.empty() ? "" : "\n") + std::string(state.usable ? kUsable : kMissing) +
                escaped(state.name + ": " + state.detail);
    }
    services_.setMarkup(states);
    if (!manager_) return;
    std::string zones;
    const auto entered = manager_->enteredZones();
    if (entered) {
      for (const auto& zone : *entered) zones += zone->name().value_or("") + "\n";
    }
    zones_.setText(zones.empty() ? "none" : zones.substr(0, zones.size() - 1));
  }
  static void activeChanged(Host* host) {
    ks::LinuxApplication& application = host->device_->linuxApplication();
    if (gtk_window_is_active(host->window_) != FALSE) {
      application.becomeActive();
    } else {
      application.resignActive();
    }
  }

  std::shared_ptr<ks::LinuxPlatform> device_;
  GtkWindow* window_;
  GtkBox* box_;
  Section library_{box_, "Library"};
  Section services_{box_, "Services"};
  Section zones_{box_, "Zones"};
  Section happened_{box_, "What happened"};
  std::shared_ptr<KSProximityManager> manager_;
  ks::NSNotificationCenter::Observation observation_;
  guint timer_ = 0;
};

struct Program {
  std::string portal;
  std::shared_ptr<ks::LinuxPlatform> device;
  std::unique_ptr<Host> host;
};

void activate(GtkApplication* application, Program* program) {
  if (program->host) return;
  program->host = std::make_unique<Host>(application, program->device, program->portal);
  const auto closed = +[](Program* closing) { closing->host.reset(); };
  g_signal_connect_swapped(program->host->window(), "destroy", G_CALLBACK(closed), program);
}

gboolean quit(gpointer application) {
  g_application_quit(static_cast<GApplication*>(application));
  return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char** argv) {
  Program program;
  program.portal = argc > 1 ? argv[1] : "http://127.0.0.1:8080/app";
  ks::LinuxPlatformOptions options;
  options.applicationName = "Beacons";
  options.bundleIdentifier = "org.ksbeacon.examples.gtk";
  program.device = std::make_shared<ks::LinuxPlatform>(options);
  ks::Platform::install(program.device);

  GtkApplication* const application =
      gtk_application_new(options.bundleIdentifier.c_str(), G_APPLICATION_NON_UNIQUE);
  g_signal_connect(application, "activate", G_CALLBACK(activate), &program);
  g_unix_signal_add(SIGINT, quit, application);
  g_unix_signal_add(SIGTERM, quit, application);
  const int status = g_application_run(G_APPLICATION(application), 1, argv);

  // Whatever calls back goes before what it uses; the platform is the last.
  program.host.reset();
  g_object_unref(application);
  ks::Platform::install(nullptr);
  program.device.reset();
  return status;
}
