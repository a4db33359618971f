#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `run`; running it sets `code`, which must outlive the application.
void addRunCommand(CLI::App& app, int& code);

}  // namespace ks::tool
