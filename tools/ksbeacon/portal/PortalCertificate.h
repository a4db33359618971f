#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks::portal {

/// Reads a certificate and its key from PEM files, and tries them on a client that trusts everyone:
/// what comes back can serve. Blocks for as long as that takes, some milliseconds.
Result<GObjectOwned<GTlsCertificate>> readServerCertificate(const std::filesystem::path& file,
                                                            const std::filesystem::path& key);

}  // namespace ks::portal
