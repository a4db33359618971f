#pragma once

#include <filesystem>
#include <string>

namespace ks {

/// The text of a PEM file that holds certificates, all of which can be read; else empty.
std::string readCertificates(const std::filesystem::path& file);

/// Whether a PEM file holds certificates, and all of them can be read.
bool holdsCertificates(const std::filesystem::path& file);

}  // namespace ks
