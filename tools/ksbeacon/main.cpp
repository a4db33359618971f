#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Version.h"
#include "tools/ksbeacon/check/CheckCommand.h"
#include "tools/ksbeacon/device/DoctorCommand.h"
#include "tools/ksbeacon/device/RunCommand.h"
#include "tools/ksbeacon/device/ScanCommand.h"
#include "tools/ksbeacon/inspect/InspectCommand.h"
#include "tools/ksbeacon/manual/HelpCommand.h"
#include "tools/ksbeacon/options/HelpFormatter.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/Suggestion.h"
#include "tools/ksbeacon/output/Terminal.h"
#include "tools/ksbeacon/portal/PortalCommand.h"
#include "tools/ksbeacon/replay/ReplayCommand.h"
#include "tools/ksbeacon/simulate/SimulateCommand.h"
#include "tools/ksbeacon/status/HeldCommands.h"
#include "tools/ksbeacon/status/StatusCommand.h"
#include "tools/ksbeacon/suite/SuiteCommand.h"
#include "tools/ksbeacon/why/WhyCommand.h"

namespace {

/// The options and commands that `app` has.
std::vector<std::string> namesIn(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

/// What was probably meant by an argument that nobody takes.
std::string meant(const CLI::App& app, const std::vector<std::string>& unknown) {
  if (unknown.empty()) return "";
  return ks::tool::suggestion(unknown.front().substr(0, unknown.front().find('=')), namesIn(app));
}

/// What is wrong, and whose help tells more.
std::string mistakeIn(const CLI::App& app, const CLI::ParseError& error) {
  const auto commands = app.get_subcommands();
  if (!commands.empty()) {
    const CLI::App& command = *commands.front();
    return error.what() + meant(command, command.remaining()) + "; see ksbeacon " +
           command.get_name() + " --help";
  }
  const auto unknown = app.remaining();
  return (unknown.empty() ? error.what() : "there is no subcommand or option " + unknown.front()) +
         meant(app, unknown) + "; see ksbeacon --help";
}

int run(int argc, char** argv) {
  CLI::App app(
      "Proximity engagement: the library on this machine, a simulated device to try campaigns on, "
      "and a development portal.");
  app.name("ksbeacon");
  app.formatter(std::make_shared<ks::tool::HelpFormatter>());
  app.footer(
      "Examples:\n"
      "  ksbeacon simulate examples/scenarios/demo.json           walk a device through a site\n"
      "  ksbeacon simulate examples/scenarios/demo.json --json    the same for a program\n"
      "  ksbeacon portal examples/portal                          serve portal documents\n"
      "  ksbeacon check examples/portal                           what is wrong with them\n"
      "  ksbeacon doctor                                          what of this machine is ready\n"
      "  ksbeacon scan                                            the beacons around\n"
      "  ksbeacon run --portal https://portal.example.com/app --user kiosk-7\n"
      "  ksbeacon --config /etc/ksbeacon/ksbeacon.toml run        with options from a file\n"
      "  ksbeacon status                                          how the running service is\n"
      "  ksbeacon help run                                        examples and options of a "
      "command");
  app.set_version_flag("--version", std::string("ksbeacon ") + ks::kVersion);
  app.require_subcommand(1);
  app.allow_config_extras(CLI::config_extras_mode::error);
  app.set_config("--config", "", "Read options from this file; ksbeacon help --sample prints one")
      ->type_name("FILE");

  int code = ks::tool::kSuccess;
  ks::tool::addSimulateCommand(app, code);
  ks::tool::addReplayCommand(app, code);
  ks::tool::addWhyCommand(app, code);
  ks::tool::addSuiteCommand(app, code);
  ks::tool::addPortalCommand(app, code);
  ks::tool::addCheckCommand(app, code);
  ks::tool::addRunCommand(app, code);
  ks::tool::addStatusCommand(app, code);
  ks::tool::addScanCommand(app, code);
  ks::tool::addDoctorCommand(app, code);
  ks::tool::addInspectCommand(app, code);
  ks::tool::addHeldCommands(app, code);
  ks::tool::addHelpCommands(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version are answers, not mistakes.
    if (error.get_exit_code() == 0) return app.exit(error);
    return ks::tool::complain(mistakeIn(app, error), ks::tool::kUsage);
  }
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const int code = run(argc, argv);
    const std::string problem = ks::tool::outputProblem();
    if (problem.empty() || code != ks::tool::kSuccess) return code;
    return ks::tool::complain(problem, ks::tool::kFailure);
  } catch (const std::exception& error) {
    return ks::tool::complain(error.what(), ks::tool::kFailure);
  }
}
