#pragma once

#include <filesystem>

namespace ks {

/// Whether a PEM file holds certificates, and all of them can be read.
bool holdsCertificates(const std::filesystem::path& file);

}  // namespace ks
