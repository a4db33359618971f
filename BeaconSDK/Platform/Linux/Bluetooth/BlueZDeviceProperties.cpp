#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZDeviceProperties.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks {

namespace {

using Variant = GLibOwned<GVariant>;

constexpr std::string_view kAddress = "Address";
constexpr std::string_view kRssi = "RSSI";
constexpr std::string_view kManufacturerData = "ManufacturerData";
constexpr std::string_view kServiceData = "ServiceData";
constexpr std::string_view kServices = "UUIDs";

/// "AA:BB:CC:DD:EE:FF".
constexpr gsize kAddressLength = 17;
/// 32 digits and 4 hyphens.
constexpr std::size_t kLongestIdentifier = 36;

bool isType(GVariant* value, const char* type) {
  return g_variant_is_of_type(value, G_VARIANT_TYPE(type)) != FALSE;
}

/// The entry of a dictionary whose values are variants; the value without its wrapping.
Variant entryValue(GVariant* entry) {
  const Variant wrapped(g_variant_get_child_value(entry, 1));
  return Variant(g_variant_get_variant(wrapped.get()));
}

std::optional<Data> bytesOf(GVariant* value) {
  if (!isType(value, "ay")) return std::nullopt;
  gsize size = 0;
  const auto* bytes =
      static_cast<const std::uint8_t*>(g_variant_get_fixed_array(value, &size, sizeof(guint8)));
  if (size > kLongestData) return std::nullopt;
  return size == 0 ? Data{} : Data(bytes, bytes + size);
}

std::optional<ManufacturerData> manufacturerDataOf(GVariant* entry) {
  const Variant key(g_variant_get_child_value(entry, 0));
  auto bytes = bytesOf(entryValue(entry).get());
  if (!bytes) return std::nullopt;
  return ManufacturerData{g_variant_get_uint16(key.get()), std::move(*bytes)};
}

std::optional<CBUUID> serviceOf(GVariant* text) {
  gsize length = 0;
  const gchar* characters = g_variant_get_string(text, &length);
  if (length == 0 || length > kLongestIdentifier) return std::nullopt;
  return serviceIdentifier(std::string_view(characters, length));
}

std::optional<ServiceData> serviceDataOf(GVariant* entry) {
  const Variant key(g_variant_get_child_value(entry, 0));
  auto service = serviceOf(key.get());
  auto bytes = bytesOf(entryValue(entry).get());
  if (!service || !bytes) return std::nullopt;
  return ServiceData{std::move(*service), std::move(*bytes)};
}

/// Replaces `into` by what `read` makes of the first `most` elements; false when `list` has another
/// type.
template <class T, class Read>
bool readList(GVariant* list, const char* type, std::size_t most, Read read, std::vector<T>& into,
              std::uint32_t& skipped) {
  if (!isType(list, type)) return false;
  into.clear();
  const gsize count = g_variant_n_children(list);
  for (gsize i = 0; i < count && i < most; ++i) {
    const Variant element(g_variant_get_child_value(list, i));
    if (auto item = read(element.get())) {
      into.push_back(std::move(*item));
    } else {
      ++skipped;
    }
  }
  if (count > most) skipped += static_cast<std::uint32_t>(count - most);
  return true;
}

bool readAddress(GVariant* value, Advertisement& device) {
  if (!isType(value, "s")) return false;
  gsize length = 0;
  const gchar* text = g_variant_get_string(value, &length);
  if (length != kAddressLength) return false;
  device.address.assign(text, length);
  return true;
}

bool readRssi(GVariant* value, Advertisement& device) {
  if (!isType(value, "n")) return false;
  device.rssi = {static_cast<double>(g_variant_get_int16(value))};
  return true;
}

enum class Outcome { passedOver, wrong, taken, heard };

Outcome apply(std::string_view name, GVariant* value, Advertisement& device) {
  auto& skipped = device.skippedElements;
  const auto heardIf = [](bool taken) { return taken ? Outcome::heard : Outcome::wrong; };
  if (name == kRssi) return heardIf(readRssi(value, device));
  if (name == kManufacturerData) {
    return heardIf(readList(value, "a{qv}", kMostDataPerDevice, manufacturerDataOf,
                            device.manufacturerData, skipped));
  }
  if (name == kServiceData) {
    return heardIf(
        readList(value, "a{sv}", kMostDataPerDevice, serviceDataOf, device.serviceData, skipped));
  }
  if (name == kServices) {
    const bool taken =
        readList(value, "as", kMostServicesPerDevice, serviceOf, device.services, skipped);
    return taken ? Outcome::taken : Outcome::wrong;
  }
  if (name == kAddress) return readAddress(value, device) ? Outcome::taken : Outcome::wrong;
  return Outcome::passedOver;
}

}  // namespace

bool applyDeviceProperties(GVariant* properties, Advertisement& device) {
  device.skippedElements = 0;
  bool heard = false;
  GVariantIter entries;
  g_variant_iter_init(&entries, properties);
  const gchar* name = nullptr;
  GVariant* value = nullptr;
  while (g_variant_iter_next(&entries, "{&sv}", &name, &value) != FALSE) {
    const Variant owned(value);
    const Outcome outcome = apply(name, value, device);
    heard = heard || outcome == Outcome::heard;
    if (outcome == Outcome::wrong) ++device.skippedElements;
  }
  return heard;
}

void dropDeviceProperties(GVariant* names, Advertisement& device) {
  GVariantIter each;
  g_variant_iter_init(&each, names);
  const gchar* text = nullptr;
  while (g_variant_iter_next(&each, "&s", &text) != FALSE) {
    const std::string_view name(text);
    if (name == kRssi) device.rssi = {};
    if (name == kManufacturerData) device.manufacturerData.clear();
    if (name == kServiceData) device.serviceData.clear();
    if (name == kServices) device.services.clear();
  }
}

}  // namespace ks
