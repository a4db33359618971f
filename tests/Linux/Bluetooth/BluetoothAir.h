#pragma once

#include <gio/gio.h>

#include <string>
#include <vector>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

/// The stand-in of the Bluetooth daemon on the private bus, which hears what a test lets be in the
/// air.
class BluetoothAir {
 public:
  void startDaemon();
  void stopDaemon() { daemon_.end(); }

  void addAdapter(bool powered, bool monitors) {
    call("AddAdapter", g_variant_new("(sbb)", "hci0", powered, monitors));
  }
  void removeAdapter() { call("RemoveAdapter", g_variant_new("(s)", "hci0")); }
  void setPowered(bool powered) { call("SetPowered", g_variant_new("(sb)", "hci0", powered)); }
  /// Calls of the method fail with the error until it is "".
  void refuse(const char* method, const char* error) {
    call("Refuse", g_variant_new("(ss)", method, error));
  }
  /// Asked for its objects, the daemon runs this line of its own language; the reply has a type.
  void answerObjects(const char* type, const char* line) {
    call("AddMethod",
         g_variant_new("(sssss)", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", "",
                       type, line),
         "/", "org.freedesktop.DBus.Mock");
  }
  void advertise(const std::string& address, int rssi, const Data& bytes) {
    call("Advertise", g_variant_new("(ssn@ay)", "hci0", address.c_str(), rssi, array(bytes)));
  }
  /// 1,000 advertisements a second from addresses that begin so.
  void flood(const char* prefix, const Data& bytes, unsigned devices, unsigned seconds) {
    call("Flood", g_variant_new("(ssn@ayuu)", "hci0", prefix, -60, array(bytes), devices, seconds));
  }
  /// Has the daemon send any signal from one of its objects; the arguments are in text form.
  void emit(const std::string& path, const char* interface, const char* name, const char* signature,
            const char* arguments);
  /// What clients have called since the last time, as "StartDiscovery hci0".
  std::vector<std::string> takeCalls();

 private:
  static GVariant* array(const Data& bytes) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
  }
  GLibOwned<GVariant> call(const char* method, GVariant* parameters, const char* path = "/",
                           const char* interface = "org.ksbeacon.Air");

  ChildProcess daemon_;
  GObjectOwned<GDBusConnection> connection_;
};

/// One element of an advertisement.
Data element(std::uint8_t type, const Data& content);
/// An advertisement of a proximity beacon, and one with service data of "D00D".
Data beaconBytes(const BeaconFrame& frame);
Data batteryBytes(const std::string& tag, std::uint8_t level);

}  // namespace ks::test
