#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `held` and `purge`; running one sets `code`, which must outlive the application.
void addHeldCommands(CLI::App& app, int& code);

}  // namespace ks::tool
