#include "tests/Linux/Bluetooth/BluetoothAir.h"

#include <cstdlib>
#include <stdexcept>

namespace ks::test {

void BluetoothAir::startDaemon() {
  const auto script = std::filesystem::path(KS_TEST_FOLDER) / "Bluetooth/bluetooth_air.py";
  daemon_ = ChildProcess(
      {"/usr/bin/python3", "-m", "dbusmock", "--system", "--template", script.string()});
  if (!run({"gdbus", "wait", "--system", "org.bluez", "--timeout", "60"})) {
    throw std::runtime_error("the stand-in of the Bluetooth daemon does not start");
  }
}

GLibOwned<GVariant> BluetoothAir::call(const char* method, GVariant* parameters, const char* path,
                                       const char* interface) {
  constexpr auto kFlags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  if (!connection_ || g_dbus_connection_is_closed(connection_.get()) != FALSE) {
    connection_.reset(g_dbus_connection_new_for_address_sync(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"),
                                                             kFlags, nullptr, nullptr, nullptr));
  }
  GError* error = nullptr;
  GLibOwned<GVariant> reply(g_dbus_connection_call_sync(
      connection_.get(), "org.bluez", path, interface, method, parameters, nullptr,
      G_DBUS_CALL_FLAGS_NO_AUTO_START, 10000, nullptr, &error));
  const GLibOwned<GError> owned(error);
  if (!reply) throw std::runtime_error(std::string(method) + ": " + error->message);
  return reply;
}

void BluetoothAir::emit(const std::string& path, const char* interface, const char* name,
                        const char* signature, const char* arguments) {
  GVariant* const list =
      g_variant_parse(G_VARIANT_TYPE("av"), arguments, nullptr, nullptr, nullptr);
  if (list == nullptr) throw std::runtime_error(std::string("not a list: ") + arguments);
  call("EmitSignal", g_variant_new("(sss@av)", interface, name, signature, list), path.c_str(),
       "org.freedesktop.DBus.Mock");
}

std::vector<std::string> BluetoothAir::takeCalls() {
  const auto reply = call("TakeCalls", nullptr);
  const GLibOwned<GVariant> list(g_variant_get_child_value(reply.get(), 0));
  std::vector<std::string> calls;
  for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
    const GLibOwned<GVariant> text(g_variant_get_child_value(list.get(), i));
    calls.emplace_back(g_variant_get_string(text.get(), nullptr));
  }
  return calls;
}

Data element(std::uint8_t type, const Data& content) {
  Data bytes = {static_cast<std::uint8_t>(content.size() + 1), type};
  bytes.insert(bytes.end(), content.begin(), content.end());
  return bytes;
}

Data beaconBytes(const BeaconFrame& frame) {
  const ManufacturerData data = makeBeaconData(frame);
  Data content = {static_cast<std::uint8_t>(data.company & 0xFF),
                  static_cast<std::uint8_t>(data.company >> 8)};
  content.insert(content.end(), data.bytes.begin(), data.bytes.end());
  return element(0xFF, content);
}

Data batteryBytes(const std::string& tag, std::uint8_t level) {
  Data content = {0x0D, 0xD0};
  content.insert(content.end(), tag.begin(), tag.end());
  content.insert(content.end(), {0, 0, level});
  return element(0x16, content);
}

}  // namespace ks::test
