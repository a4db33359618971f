#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `check`; running it sets `code`, which must outlive the application.
void addCheckCommand(CLI::App& app, int& code);

}  // namespace ks::tool
