#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "tools/ksbeacon/manual/CommandTable.h"

namespace ks::tool {

namespace {

std::string joined(const std::vector<std::string>& words, const char* between = " ") {
  return fmt::format("{}", fmt::join(words, between));
}

std::vector<std::string> commandNames(const CommandTable& table) {
  std::vector<std::string> names;
  for (const CommandRow& command : table.commands) names.push_back(command.name);
  return names;
}

std::vector<std::string> optionNames(const CommandRow& command) {
  std::vector<std::string> names;
  for (const OptionRow& option : command.options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}

/// The text with a backslash before each of the characters.
std::string escaped(const std::string& text, std::string_view characters) {
  std::string made;
  for (const char c : text) {
    if (characters.find(c) != std::string_view::npos) made += '\\';
    made += c;
  }
  return made;
}

/// Within single quotes, which end for each quote in the text.
std::string quoted(const std::string& text) {
  std::string made = "'";
  for (const char c : text) made += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return made + "'";
}

std::string quotedWords(const std::vector<std::string>& words) {
  std::string made;
  for (const std::string& word : words) made += (made.empty() ? "" : " ") + quoted(word);
  return made;
}

/// What bash offers for a value: choices, files, or nothing.
std::string bashValues(const OptionRow& option) {
  if (!option.choices.empty()) return "_ksbeacon_words " + quoted(joined(option.choices));
  return option.takesFile() ? "_ksbeacon_files" : ":";
}

/// "--option[description]:VALUE:action", as zsh's `_arguments` reads it.
std::string zshValue(const OptionRow& option) {
  if (option.value.empty()) return "";
  const std::string action = !option.choices.empty() ? "(" + joined(option.choices) + ")"
                             : option.takesFile()    ? "_files"
                                                     : " ";
  return ":" + option.value + ":" + action;
}

std::string fishOption(const std::string& condition, const OptionRow& option) {
  std::string line = "complete -c ksbeacon -n " + quoted(condition);
  for (const std::string& name : option.names) {
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (!option.value.empty()) line += option.takesFile() ? " -r -F" : " -x";
  if (!option.choices.empty()) line += " -a " + quoted(joined(option.choices));
  return line + " -d " + quoted(option.description) + "\n";
}

}  // namespace

std::string bashCompletion(const CommandTable& table) {
  std::string text = R"(# Completes the arguments of ksbeacon in bash.

_ksbeacon_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current"); }
_ksbeacon_files() {
  compopt -o filenames
  mapfile -t COMPREPLY < <(compgen -f -- "$current")
}
_ksbeacon() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
)";
  std::vector<std::string> first = commandNames(table);
  for (const std::string& name : optionNames(table.program)) first.push_back(name);
  text += "    _ksbeacon_words " + quoted(joined(first)) +
          "\n    return\n  fi\n  case \"${COMP_WORDS[1]} $previous\" in\n";
  for (const CommandRow& command : table.commands) {
    for (const OptionRow& option : command.options) {
      if (option.value.empty()) continue;
      for (const std::string& name : option.names) {
        text += fmt::format("    {}) {}; return ;;\n", quoted(command.name + " " + name),
                            bashValues(option));
      }
    }
  }
  text += "  esac\n  case \"${COMP_WORDS[1]} $current\" in\n";
  for (const CommandRow& command : table.commands) {
    text += fmt::format("    '{} -'*) _ksbeacon_words {} ;;\n", command.name,
                        quoted(joined(optionNames(command))));
    for (const OptionRow& argument : command.arguments) {
      text += fmt::format("    '{} '*) {} ;;\n", command.name, bashValues(argument));
    }
  }
  return text + "  esac\n}\ncomplete -F _ksbeacon ksbeacon\n";
}

std::string zshCompletion(const CommandTable& table) {
  std::string commands;
  std::string cases;
  for (const CommandRow& command : table.commands) {
    commands += " " + quoted(command.name + ":" + command.description);
    cases += "    " + command.name + ")\n      _arguments";
    for (const OptionRow& option : command.options) {
      for (const std::string& name : option.names) {
        cases +=
            " \\\n        " + quoted((option.repeated ? "*" : "") + name + "[" +
                                     escaped(option.description, "[]:\\") + "]" + zshValue(option));
      }
    }
    for (const OptionRow& argument : command.arguments) {
      cases += " \\\n        " + quoted("1" + zshValue(argument));
    }
    cases += "\n      ;;\n";
  }
  return "#compdef ksbeacon\n# Completes the arguments of ksbeacon in zsh.\n\n"
         "_ksbeacon() {\n  local state\n  local -a commands\n  commands=(" +
         commands + ")\n  _arguments -C " + quotedWords(optionNames(table.program)) +
         " '1: :->command' '*:: :->argument'\n  case $state in\n    command)\n"
         "      _describe command commands\n      return\n      ;;\n  esac\n"
         "  case $words[1] in\n" +
         cases + "  esac\n}\n\n_ksbeacon \"$@\"\n";
}

std::string fishCompletion(const CommandTable& table) {
  const std::string start = "__fish_use_subcommand";
  std::string text = "# Completes the arguments of ksbeacon in fish.\n\ncomplete -c ksbeacon -f\n";
  for (const OptionRow& option : table.program.options) text += fishOption(start, option);
  for (const CommandRow& command : table.commands) {
    text += "complete -c ksbeacon -n " + quoted(start) + " -a " + command.name + " -d " +
            quoted(command.description) + "\n";
    const std::string condition = "__fish_seen_subcommand_from " + command.name;
    for (const OptionRow& option : command.options) text += fishOption(condition, option);
    for (const OptionRow& argument : command.arguments) {
      text += "complete -c ksbeacon -n " + quoted(condition) +
              (argument.takesFile() ? " -F" : " -a " + quoted(joined(argument.choices))) + "\n";
    }
  }
  return text;
}

}  // namespace ks::tool
