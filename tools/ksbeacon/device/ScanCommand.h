#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `scan`; running it sets `code`, which must outlive the application.
void addScanCommand(CLI::App& app, int& code);

}  // namespace ks::tool
