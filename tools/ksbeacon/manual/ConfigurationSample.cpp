#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "tools/ksbeacon/manual/CommandTable.h"

namespace ks::tool {

namespace {

std::string valueFor(const OptionRow& option) {
  if (option.value.empty()) return "true";
  const std::string example = option.usual.empty() ? option.value : option.usual;
  const bool isNumber = option.value == "DB" || option.value == "SECONDS";
  if (isNumber) return option.usual.empty() ? "0" : option.usual;
  return option.repeated ? fmt::format("[\"{}\"]", example) : fmt::format("\"{}\"", example);
}

}  // namespace

std::string configurationSample(const CommandTable& table) {
  std::string text =
      "# Options of ksbeacon, for: ksbeacon --config FILE run\n"
      "# What the command line says counts more. A password never stands here.\n";
  const auto run = std::ranges::find(table.commands, "run", &CommandRow::name);
  text += "\n[run]\n";
  for (const OptionRow& option : run->options) {
    const std::string name = option.names.back().substr(2);
    if (name == "help") continue;
    text += fmt::format("\n# {}.{}\n#{} = {}\n", option.description,
                        option.required ? " Required." : "", name, valueFor(option));
  }
  return text;
}

}  // namespace ks::tool
