#include "tools/ksbeacon/manual/HelpCommand.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Version.h"
#include "tools/ksbeacon/manual/CommandTable.h"

namespace ks::tool {

namespace {

void printHelp(const CLI::App& app, const std::string& topic) {
  const CLI::App* const command = topic.empty() ? &app : app.get_subcommand(topic);
  // The application itself would answer with the help of the subcommand under way.
  std::string text = command->get_formatter()->make_help(
      command, topic.empty() ? "ksbeacon" : "ksbeacon " + topic, CLI::AppFormatMode::Normal);
  text.erase(text.find_last_not_of('\n') + 1);
  std::cout << text << '\n';
}

void addCompletionCommand(CLI::App& app) {
  auto shell = std::make_shared<std::string>();
  CLI::App* const command =
      app.add_subcommand("completion", "Print what completes the arguments in a shell");
  command->footer(
      "Examples:\n"
      "  ksbeacon completion bash > /etc/bash_completion.d/ksbeacon\n"
      "  ksbeacon completion zsh > /usr/local/share/zsh/site-functions/_ksbeacon\n"
      "  ksbeacon completion fish > ~/.config/fish/completions/ksbeacon.fish\n"
      "An installed ksbeacon has brought them along.");
  command->add_option("SHELL", *shell, "The shell")
      ->required()
      ->check(CLI::IsMember(std::vector<std::string>{"bash", "zsh", "fish"}));
  command->callback([&app, shell] {
    const CommandTable table = commandTable(app);
    std::cout << (*shell == "bash"  ? bashCompletion(table)
                  : *shell == "zsh" ? zshCompletion(table)
                                    : fishCompletion(table));
  });
}

}  // namespace

void addHelpCommands(CLI::App& app) {
  struct Arguments {
    std::string topic;
    bool manual = false;
    bool sample = false;
  };
  auto arguments = std::make_shared<Arguments>();
  addCompletionCommand(app);
  CLI::App* const command =
      app.add_subcommand("help", "Show help for the command or for a subcommand");
  command->footer(
      "Examples:\n"
      "  ksbeacon help simulate                   examples first, then every option\n"
      "  ksbeacon help --man | man -l -           the same for all commands, as a manual page\n"
      "  ksbeacon help --sample > ksbeacon.toml   a configuration file to begin with");
  std::vector<std::string> topics;
  for (const CLI::App* const known : app.get_subcommands([](const CLI::App*) { return true; })) {
    topics.push_back(known->get_name());
  }
  command->add_option("COMMAND", arguments->topic, "A subcommand")->check(CLI::IsMember(topics));
  command->add_flag("--man", arguments->manual, "Print the manual page's source");
  command->add_flag("--sample", arguments->sample, "Print a configuration file, all commented out");
  command->callback([&app, arguments] {
    if (arguments->manual) {
      std::cout << manualPage(commandTable(app), kVersion);
    } else if (arguments->sample) {
      std::cout << configurationSample(commandTable(app));
    } else {
      printHelp(app, arguments->topic);
    }
  });
}

}  // namespace ks::tool
