// How much of a core a flood of advertisements costs, from the bus to the location engine, and how
// many a second come through when the sender does not wait.
//
// usage: RadioFlood [PER_SECOND] [SECONDS] [DEVICES]     2000 5 200; PER_SECOND 0: as fast as can
// be
//
// The figure is this process's own: the sender and the message bus are processes of their own.

#include <fmt/format.h>
#include <gio/gio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZRadio.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "tests/Linux/LinuxFixture.h"

namespace {

using ks::GLibOwned;
using ks::GObjectOwned;

struct Flood {
  unsigned perSecond = 2000;
  unsigned seconds = 5;
  unsigned devices = 200;
  unsigned total() const { return (perSecond == 0 ? kUnpaced : perSecond) * seconds; }

 private:
  static constexpr unsigned kUnpaced = 20'000;
};

const char* const kDaemon =
    "<node><interface name='org.freedesktop.DBus.ObjectManager'>"
    "<method name='GetManagedObjects'><arg type='a{oa{sa{sv}}}' direction='out'/></method>"
    "</interface><interface name='org.bluez.Adapter1'>"
    "<method name='SetDiscoveryFilter'><arg type='a{sv}' direction='in'/></method>"
    "<method name='StartDiscovery'/><method name='StopDiscovery'/></interface>"
    "<interface name='org.bluez.AdvertisementMonitorManager1'>"
    "<method name='RegisterMonitor'><arg type='o' direction='in'/></method>"
    "<method name='UnregisterMonitor'><arg type='o' direction='in'/></method></interface></node>";

/// The daemon's side: one adapter that agrees to everything and floods once discovery has begun.
class Sender {
 public:
  explicit Sender(Flood flood) : flood_(flood) {
    constexpr auto kFlags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    connection_.reset(g_dbus_connection_new_for_address_sync(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"),
                                                             kFlags, nullptr, nullptr, nullptr));
    static const GDBusInterfaceVTable kTable{called, nullptr, nullptr, {}};
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kDaemon, nullptr);
    const char* const paths[] = {"/", "/org/bluez/hci0", "/org/bluez/hci0"};
    for (int i = 0; i < 3; ++i) {
      g_dbus_connection_register_object(connection_.get(), paths[i], node->interfaces[i], &kTable,
                                        this, nullptr, nullptr);
    }
    g_bus_own_name_on_connection(connection_.get(), "org.bluez", G_BUS_NAME_OWNER_FLAGS_NONE,
                                 nullptr, nullptr, nullptr, nullptr);
  }

 private:
  static void called(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                     const gchar* method, GVariant*, GDBusMethodInvocation* invocation,
                     gpointer data) {
    GVariant* reply = nullptr;
    if (std::string_view(method) == "GetManagedObjects") {
      reply = g_variant_new_parsed(
          "({objectpath '/org/bluez/hci0': {'org.bluez.Adapter1': {'Powered': <true>}, "
          "'org.bluez.AdvertisementMonitorManager1': @a{sv} {}}},)");
    }
    g_dbus_method_invocation_return_value(invocation, reply);
    if (std::string_view(method) != "StartDiscovery") return;
    constexpr guint kInterval = 10;
    g_timeout_add(
        kInterval, [](gpointer self) { return static_cast<Sender*>(self)->burst(); }, data);
  }

  /// Sends what is due by now.
  gboolean burst() {
    constexpr unsigned kUnpacedBurst = 1000;
    const auto now = ks::monotonicUptime();
    if (sent_ == 0) start_ = now;
    const auto due = static_cast<unsigned>((now - start_).count() * flood_.perSecond) + 1;
    const unsigned until = flood_.perSecond == 0 ? sent_ + kUnpacedBurst : due;
    while (sent_ < std::min(until, flood_.total())) {
      send();
      ++sent_;
    }
    // Waits for the bus, or else everything would pile up here.
    g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
    return sent_ < flood_.total() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
  }

  void send() {
    const auto number = static_cast<std::uint16_t>(sent_ % flood_.devices);
    const auto data = ks::makeBeaconData({ks::UUID{}, 1, number, {-59}});
    GVariantBuilder manufacturers;
    g_variant_builder_init(&manufacturers, G_VARIANT_TYPE("a{qv}"));
    g_variant_builder_add(
        &manufacturers, "{qv}", data.company,
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data.bytes.data(), data.bytes.size(), 1));
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&properties, "{sv}", "RSSI",
                          g_variant_new_int16(static_cast<gint16>(-40 - sent_ % 50)));
    g_variant_builder_add(&properties, "{sv}", "ManufacturerData",
                          g_variant_builder_end(&manufacturers));
    const auto path =
        fmt::format("/org/bluez/hci0/dev_C0_00_00_00_{:02X}_{:02X}", number >> 8, number & 0xFF);
    g_dbus_connection_emit_signal(
        connection_.get(), nullptr, path.c_str(), "org.freedesktop.DBus.Properties",
        "PropertiesChanged",
        g_variant_new("(s@a{sv}@as)", "org.bluez.Device1", g_variant_builder_end(&properties),
                      g_variant_new_strv(nullptr, 0)),
        nullptr);
  }

  const Flood flood_;
  GObjectOwned<GDBusConnection> connection_;
  unsigned sent_ = 0;
  ks::Seconds start_{0};
};

struct NoStore : ks::LocationStateStore {
  ks::FileContent load() override { return {}; }
  bool save(const ks::Data&) override { return true; }
};

struct Demand : ks::LocationDemandListener {
  void locationDemandChanged(const ks::LocationDemand& demand) override {
    if (radio) radio->locationDemandChanged(demand);
  }
  std::unique_ptr<ks::BlueZRadio> radio;
};

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  constexpr double kMicroseconds = 1e6;
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / kMicroseconds;
}

long peakMemoryKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void receive(Flood flood) {
  ks::SystemClock clock;
  ks::MainQueue queue;
  ks::test::RecordingConsole console;
  ks::NSNotificationCenter center;
  NoStore store;
  Demand demand;
  ks::LocationEngine engine(clock, queue, store, demand);
  const ks::Directories directories;
  const std::string name = "bench";
  engine.setAuthorizationStatus(ks::CLAuthorizationStatus::authorizedAlways);
  demand.radio = std::make_unique<ks::BlueZRadio>(
      ks::LinuxServiceContext{clock, queue, console, center, engine, directories, name, name});
  const auto manager = engine.makeLocationManager();
  manager->startRangingBeaconsInRegion(
      std::make_shared<ks::CLBeaconRegion>(ks::UUID{}, "everywhere"));
  const auto received = [&] { return engine.counters().matchedBeacons; };
  ks::test::runLoopUntil([&] { return received() > 0; });
  const double cpu = cpuSeconds();
  const auto start = ks::monotonicUptime();
  const auto limit = ks::monotonicUptime() + ks::Seconds{60.0 + flood.seconds};
  while (received() < flood.total() && ks::monotonicUptime() < limit) {
    g_main_context_iteration(nullptr, TRUE);
  }
  const double span = (ks::monotonicUptime() - start).count();
  const double used = cpuSeconds() - cpu;
  fmt::print(
      "sent {}, received {}, {:.0f} a second, {:.1f} us of CPU each, {:.1f} % of a core, "
      "peak {} MB\n",
      flood.total(), received(), received() / span, used / received() * 1e6, 100 * used / span,
      peakMemoryKilobytes() / 1024);
}

}  // namespace

int main(int argc, char** argv) {
  Flood flood;
  if (argc > 1) flood.perSecond = static_cast<unsigned>(std::atoi(argv[1]));
  if (argc > 2) flood.seconds = static_cast<unsigned>(std::atoi(argv[2]));
  if (argc > 3) flood.devices = static_cast<unsigned>(std::atoi(argv[3]));
  const ks::test::PrivateBus bus;
  const pid_t child = fork();
  if (child == 0) {
    const Sender sender(flood);
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(loop);
  }
  receive(flood);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}
