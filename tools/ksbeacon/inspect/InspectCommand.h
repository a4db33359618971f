#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `inspect`; running it sets `code`, which must outlive the application.
void addInspectCommand(CLI::App& app, int& code);

}  // namespace ks::tool
