#pragma once

#include <gio/gio.h>

#include <cstddef>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// What is kept of one device: an advertisement has room for two elements with data as a rule.
inline constexpr std::size_t kMostDataPerDevice = 8;
inline constexpr std::size_t kMostServicesPerDevice = 16;
/// An element of an advertisement counts its bytes in one byte.
inline constexpr std::size_t kLongestData = 255;

/// Takes over what a message of the daemon says of a device: its properties (a{sv}), or those of
/// them that have changed. Values of a wrong type or size are skipped and counted in
/// `skippedElements`, which is about this message alone; the rest stays as it was.
///
/// True when the message tells of a received advertisement: it holds a strength or data.
bool applyDeviceProperties(GVariant* properties, Advertisement& device);

/// Drops the properties (as) that the daemon no longer knows.
void dropDeviceProperties(GVariant* names, Advertisement& device);

}  // namespace ks
