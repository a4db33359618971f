#pragma once

#include <glib.h>

#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks {

Error urlError(NSURLError code, std::string description);

/// What libsoup or GIO reported, as the seam's error.
Error urlErrorFrom(const GError& error);

}  // namespace ks
