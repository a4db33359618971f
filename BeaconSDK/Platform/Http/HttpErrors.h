#pragma once

#include <curl/curl.h>

#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks {

Error urlError(NSURLError code, std::string description);

/// The seam's error for a failure that libcurl reported; `detail` may be empty.
Error urlErrorFrom(CURLcode result, const char* detail);

}  // namespace ks
