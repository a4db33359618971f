#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `help` and `completion`, which know the commands that were added before them and each
/// other. The application must outlive the run.
void addHelpCommands(CLI::App& app);

}  // namespace ks::tool
