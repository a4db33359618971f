#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `why`; running it sets `code`, which must outlive the application.
void addWhyCommand(CLI::App& app, int& code);

}  // namespace ks::tool
