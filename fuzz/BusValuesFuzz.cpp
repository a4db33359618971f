#include <glib.h>

#include <cstddef>
#include <cstdint>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZDeviceProperties.h"

/// Whatever a Bluetooth daemon says of a device is taken over or skipped, within the bounds. The
/// first byte says which type the rest claims to have.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool isNames = data[0] % 4 == 0;
  const auto* const type = isNames ? G_VARIANT_TYPE_STRING_ARRAY : G_VARIANT_TYPE_VARDICT;
  GBytes* const bytes = g_bytes_new(data + 1, size - 1);
  GVariant* const value = g_variant_ref_sink(g_variant_new_from_bytes(type, bytes, FALSE));
  ks::Advertisement device;
  if (isNames) {
    ks::dropDeviceProperties(value, device);
  } else {
    ks::applyDeviceProperties(value, device);
  }
  g_variant_unref(value);
  g_bytes_unref(bytes);
  return 0;
}
