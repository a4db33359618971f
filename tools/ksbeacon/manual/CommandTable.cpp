#include "tools/ksbeacon/manual/CommandTable.h"

#include <sstream>

namespace ks::tool {

namespace {

OptionRow rowOf(const CLI::Option& option) {
  OptionRow row;
  row.description = option.get_description();
  row.required = option.get_required();
  row.usual = option.get_default_str();
  row.repeated = option.get_items_expected_max() > 2;
  for (const std::string& name : option.get_snames()) row.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) row.names.push_back("--" + name);
  // "TEXT:{a,b}": the type, then what its checks say of themselves.
  const std::string type = option.get_type_name();
  if (option.get_items_expected_max() > 0) row.value = type.substr(0, type.find(':'));
  if (option.get_positional()) row.value = option.get_name(true);
  const std::size_t open = type.find('{');
  if (open == std::string::npos) return row;
  std::istringstream choices(type.substr(open + 1, type.find('}', open) - open - 1));
  for (std::string choice; std::getline(choices, choice, ',');) row.choices.push_back(choice);
  return row;
}

CommandRow rowOf(const CLI::App& command) {
  CommandRow row;
  row.name = command.get_name();
  row.description = command.get_description();
  for (const CLI::Option* const option : command.get_options()) {
    (option->get_positional() ? row.arguments : row.options).push_back(rowOf(*option));
  }
  std::istringstream footer(command.get_footer());
  bool inExamples = false;
  for (std::string line; std::getline(footer, line);) {
    if (line == "Examples:") {
      inExamples = true;
    } else if (inExamples && line.starts_with("  ")) {
      row.examples.push_back(line.substr(2));
    } else {
      inExamples = false;
      row.notes.push_back(line);
    }
  }
  return row;
}

}  // namespace

CommandTable commandTable(const CLI::App& app) {
  CommandTable table{rowOf(app), {}};
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
    table.commands.push_back(rowOf(*command));
  }
  return table;
}

}  // namespace ks::tool
