#pragma once

#include <CLI/CLI.hpp>

namespace ks::tool {

/// Adds `doctor`; running it sets `code`, which must outlive the application.
void addDoctorCommand(CLI::App& app, int& code);

}  // namespace ks::tool
