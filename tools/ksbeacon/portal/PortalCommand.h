#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `portal`; running it sets `code`, which must outlive the application.
void addPortalCommand(CLI::App& app, int& code);

}  // namespace ks::tool
