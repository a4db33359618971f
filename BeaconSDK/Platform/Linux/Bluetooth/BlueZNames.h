#pragma once

/// The Bluetooth daemon's names on the system bus.
namespace ks::bluez {

inline constexpr const char* kService = "org.bluez";
inline constexpr const char* kAdapter = "org.bluez.Adapter1";
inline constexpr const char* kDevice = "org.bluez.Device1";
inline constexpr const char* kMonitorManager = "org.bluez.AdvertisementMonitorManager1";
inline constexpr const char* kMonitor = "org.bluez.AdvertisementMonitor1";
inline constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
inline constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

}  // namespace ks::bluez
