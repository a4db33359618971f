#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/ksbeacon/manual/CommandTable.h"

namespace ks::tool {

namespace {

/// Text that the formatter takes as it is, hyphens included.
std::string plain(const std::string& text) {
  std::string made;
  for (const char c : text) {
    if (c == '\\') {
      made += "\\e";
    } else if (c == '-') {
      made += "\\-";
    } else if (c == '\'') {
      made += "\\(aq";
    } else {
      made += c;
    }
  }
  // A line that begins so would be an instruction.
  return made.starts_with('.') ? "\\&" + made : made;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

std::string optionHead(const OptionRow& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.names) names.push_back(bold(name));
  std::string head = fmt::format("{}", fmt::join(names, ", "));
  if (!option.value.empty()) head += (head.empty() ? "" : " ") + italic(option.value);
  return head;
}

std::string optionText(const OptionRow& option) {
  std::string text = plain(option.description) + ".";
  if (option.required && !option.names.empty()) text += " Required.";
  if (!option.usual.empty()) text += " Default: " + plain(option.usual) + ".";
  if (!option.choices.empty()) {
    text += plain(fmt::format(" One of {}.", fmt::join(option.choices, ", ")));
  }
  return text;
}

std::string synopsis(const CommandRow& command) {
  std::string text = bold("ksbeacon " + command.name);
  for (const OptionRow& option : command.options) {
    if (option.required) text += " " + bold(option.names.back()) + " " + italic(option.value);
  }
  text += " [" + italic("OPTION") + "]...";
  for (const OptionRow& argument : command.arguments) {
    text += " " + (argument.required ? italic(argument.value) : "[" + italic(argument.value) + "]");
  }
  return text;
}

/// Paragraphs as they run, indented lines as they stand.
std::string notesText(const std::vector<std::string>& notes) {
  std::string text;
  bool wasIndented = true;
  for (const std::string& line : notes) {
    const bool indented = line.starts_with("  ");
    if (indented) {
      text += ".PP\n.nf\n.RS 4\n" + plain(line.substr(2)) + "\n.RE\n.fi\n";
    } else {
      text += (wasIndented ? ".PP\n" : "") + plain(line) + "\n";
    }
    wasIndented = indented;
  }
  return text;
}

std::string examplesText(const std::vector<std::string>& examples) {
  std::string text = ".PP\nExamples:\n.PP\n.nf\n.RS 4\n";
  for (const std::string& line : examples) text += plain(line) + "\n";
  return examples.empty() ? "" : text + ".RE\n.fi\n";
}

std::string optionsText(const std::vector<OptionRow>& options) {
  std::string text;
  for (const OptionRow& option : options) {
    text += ".TP\n" + optionHead(option) + "\n" + optionText(option) + "\n";
  }
  return text;
}

std::string commandText(const CommandRow& command) {
  return ".SS " + command.name + "\n" + synopsis(command) + "\n.PP\n" + plain(command.description) +
         ".\n" + notesText(command.notes) + optionsText(command.arguments) +
         optionsText(command.options) + examplesText(command.examples);
}

constexpr const char* kTail = R"(.SH EXIT STATUS
.TP
0
Success.
.TP
1
The work was done and its answer is no.
.TP
2
A wrong option, or a file with a mistake in it.
.TP
3
Something outside cannot be had now: a service, a port, a portal, a folder to write to.
.SH ENVIRONMENT
.TP
.B NO_COLOR
When set and not empty, output has no colours.
.TP
.BR XDG_CACHE_HOME ", " XDG_DATA_HOME ", " XDG_STATE_HOME
Where the library keeps its files, in the folder
.I org.ksbeacon.ksbeacon
of each.
.TP
.BR CREDENTIALS_DIRECTORY ", " NOTIFY_SOCKET ", " WATCHDOG_USEC
Set by the service manager for
.BR "ksbeacon run" .
.SH SEE ALSO
.BR systemd.exec (5),
.BR bluetoothd (8),
.BR gpsd (8),
.BR secret\-tool (1)
)";

}  // namespace

std::string manualPage(const CommandTable& table, const std::string& version) {
  std::string text = fmt::format(
      ".TH KSBEACON 1 \"\" \"ksbeacon {}\" \"User Commands\"\n.SH NAME\nksbeacon \\- proximity "
      "engagement on this machine and in a simulation\n.SH SYNOPSIS\n",
      plain(version));
  for (const CommandRow& command : table.commands) text += synopsis(command) + "\n.br\n";
  text += ".SH DESCRIPTION\n" + plain(table.program.description) + "\n" +
          examplesText(table.program.examples) + ".SH OPTIONS\n" +
          optionsText(table.program.options) + ".SH COMMANDS\n";
  for (const CommandRow& command : table.commands) text += commandText(command);
  return text + kTail;
}

}  // namespace ks::tool
