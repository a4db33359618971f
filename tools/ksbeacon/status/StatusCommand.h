#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `status`; running it sets `code`, which must outlive the application.
void addStatusCommand(CLI::App& app, int& code);

}  // namespace ks::tool
