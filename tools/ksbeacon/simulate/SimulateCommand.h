#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `simulate`; running it sets `code`, which must outlive the application.
void addSimulateCommand(CLI::App& app, int& code);

}  // namespace ks::tool
