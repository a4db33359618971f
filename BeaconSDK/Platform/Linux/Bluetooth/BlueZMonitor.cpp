#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZMonitor.h"

#include <cstdint>
#include <utility>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZNames.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

namespace {

constexpr const char* kApplicationDescription =
    "<node><interface name='org.freedesktop.DBus.ObjectManager'>"
    "<method name='GetManagedObjects'><arg type='a{oa{sa{sv}}}' direction='out'/></method>"
    "</interface></node>";

constexpr const char* kMonitorDescription =
    "<node><interface name='org.bluez.AdvertisementMonitor1'>"
    "<method name='Release'/><method name='Activate'/>"
    "<method name='DeviceFound'><arg type='o' direction='in'/></method>"
    "<method name='DeviceLost'><arg type='o' direction='in'/></method>"
    "<property name='Type' type='s' access='read'/>"
    "<property name='Patterns' type='a(yyay)' access='read'/>";
constexpr const char* kThresholdDescription =
    "<property name='RSSIHighThreshold' type='n' access='read'/>"
    "<property name='RSSILowThreshold' type='n' access='read'/>"
    "<property name='RSSIHighTimeout' type='q' access='read'/>"
    "<property name='RSSILowTimeout' type='q' access='read'/>"
    "<property name='RSSISamplingPeriod' type='q' access='read'/>";
constexpr const char* kEndOfDescription = "</interface></node>";

constexpr const char* kPropertyNames[] = {"Type", "Patterns"};
constexpr const char* kThresholdNames[] = {"RSSIHighThreshold", "RSSILowThreshold",
                                           "RSSIHighTimeout", "RSSILowTimeout",
                                           "RSSISamplingPeriod"};

/// Below what any radio receives, so that nobody counts as too weak, in dBm.
constexpr gint16 kHighThreshold = -120;
constexpr gint16 kLowThreshold = -125;
/// The daemon's own default, in seconds.
constexpr guint16 kThresholdTimeout = 5;
/// Every report, not groups of them.
constexpr guint16 kSamplingPeriod = 0;

/// Manufacturer data, of the Bluetooth assigned numbers.
constexpr guint8 kManufacturerDataType = 0xFF;

/// How the manufacturer data of every proximity beacon begins.
GVariant* beaconPatterns() {
  const ManufacturerData beacon = makeBeaconData({});
  const guint8 head[] = {static_cast<guint8>(beacon.company & 0xFF),
                         static_cast<guint8>(beacon.company >> 8), beacon.bytes[0],
                         beacon.bytes[1]};
  GVariant* const bytes =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, head, sizeof(head), sizeof(guint8));
  GVariantBuilder patterns;
  g_variant_builder_init(&patterns, G_VARIANT_TYPE("a(yyay)"));
  g_variant_builder_add(&patterns, "(yy@ay)", guint8{0}, kManufacturerDataType, bytes);
  return g_variant_builder_end(&patterns);
}

GVariant* property(std::string_view name) {
  if (name == "Type") return g_variant_new_string("or_patterns");
  if (name == "Patterns") return beaconPatterns();
  if (name == "RSSIHighThreshold") return g_variant_new_int16(kHighThreshold);
  if (name == "RSSILowThreshold") return g_variant_new_int16(kLowThreshold);
  if (name == "RSSISamplingPeriod") return g_variant_new_uint16(kSamplingPeriod);
  return g_variant_new_uint16(kThresholdTimeout);
}

}  // namespace

BlueZMonitor::BlueZMonitor(BusService& service, std::string path, Kind kind, Listener listener)
    : service_(service), path_(std::move(path)), kind_(kind), listener_(std::move(listener)) {
  service_.exportObject({path_, kApplicationDescription,
                         [this](std::string_view, GVariant*) { return managedObjects(); },
                         nullptr});
  std::string description = kMonitorDescription;
  if (kind_ == Kind::quiet) description += kThresholdDescription;
  description += kEndOfDescription;
  service_.exportObject(
      {monitorPath(), description,
       [this](std::string_view method, GVariant* parameters) { return called(method, parameters); },
       property});
}

BlueZMonitor::~BlueZMonitor() {
  service_.withdrawObjects(path_);
  service_.withdrawObjects(monitorPath());
}

GVariant* BlueZMonitor::called(std::string_view method, GVariant* parameters) const {
  if (method == "DeviceFound") {
    const gchar* device = nullptr;
    g_variant_get(parameters, "(&o)", &device);
    listener_.deviceFound(device);
  } else if (method == "Release") {
    listener_.released();
  }
  return nullptr;
}

GVariant* BlueZMonitor::managedObjects() const {
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
  for (const char* name : kPropertyNames) {
    g_variant_builder_add(&properties, "{sv}", name, property(name));
  }
  if (kind_ == Kind::quiet) {
    for (const char* name : kThresholdNames) {
      g_variant_builder_add(&properties, "{sv}", name, property(name));
    }
  }
  GVariantBuilder interfaces;
  g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
  g_variant_builder_add(&interfaces, "{s@a{sv}}", bluez::kMonitor,
                        g_variant_builder_end(&properties));
  GVariantBuilder objects;
  g_variant_builder_init(&objects, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
  g_variant_builder_add(&objects, "{o@a{sa{sv}}}", monitorPath().c_str(),
                        g_variant_builder_end(&interfaces));
  return g_variant_new("(@a{oa{sa{sv}}})", g_variant_builder_end(&objects));
}

}  // namespace ks
