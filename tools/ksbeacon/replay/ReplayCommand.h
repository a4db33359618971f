#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `replay`; running it sets `code`, which must outlive the application.
void addReplayCommand(CLI::App& app, int& code);

}  // namespace ks::tool
