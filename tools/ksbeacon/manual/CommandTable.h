#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace ks::tool {

/// One option, or one positional argument, as its user sees it.
struct OptionRow {
  /// "-h", "--help"; empty for a positional argument.
  std::vector<std::string> names;
  /// What stands for its value: "FILE", "DIR", "SECONDS"; empty for a flag.
  std::string value;
  std::string description;
  /// The value when none is given; empty for none.
  std::string usual;
  /// The only values there are; empty for any.
  std::vector<std::string> choices;
  bool required = false;
  bool repeated = false;

  bool takesFile() const { return value == "FILE" || value == "DIR" || value == "SCENARIO"; }
};

struct CommandRow {
  /// "simulate"; the program's own row has its name.
  std::string name;
  std::string description;
  std::vector<OptionRow> options;
  std::vector<OptionRow> arguments;
  /// The lines of the help's examples, without their indentation.
  std::vector<std::string> examples;
  /// What the help says besides, line by line.
  std::vector<std::string> notes;
};

/// The program and its commands, taken from the table that reads their arguments: whatever is made
/// of it cannot differ from what the program takes.
struct CommandTable {
  CommandRow program;
  std::vector<CommandRow> commands;
};

CommandTable commandTable(const CLI::App& app);

/// The reference page in the manual's own markup (roff, "man" macros).
std::string manualPage(const CommandTable& table, const std::string& version);

/// A configuration file with every option of the service, each explained and commented out.
std::string configurationSample(const CommandTable& table);

/// What completes the program's arguments in a shell: "bash", "zsh" or "fish".
std::string bashCompletion(const CommandTable& table);
std::string zshCompletion(const CommandTable& table);
std::string fishCompletion(const CommandTable& table);

}  // namespace ks::tool
