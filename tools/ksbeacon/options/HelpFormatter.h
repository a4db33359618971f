#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace ks::tool {

/// Help that shows examples first: an application's footer, which holds them, comes before
/// everything else.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    const std::string examples = app->get_footer();
    return (examples.empty() ? "" : examples + "\n\n") +
           CLI::Formatter::make_help(app, std::move(name), mode);
  }
  std::string make_footer(const CLI::App*) const override { return ""; }
};

}  // namespace ks::tool
