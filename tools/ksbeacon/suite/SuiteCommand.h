#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `test`; running it sets `code`, which must outlive the application.
void addSuiteCommand(CLI::App& app, int& code);

}  // namespace ks::tool
