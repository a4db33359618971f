#include "tools/ksbeacon/status/StatusCommand.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/output/Terminal.h"
#include "tools/ksbeacon/status/HealthText.h"
#include "tools/ksbeacon/status/StatusSocket.h"

namespace ks::tool {

namespace {

int tellStatus(const std::string& state, bool json) {
  const auto reply = askEitherService(state);
  if (!reply) return complain(reply.error().localizedDescription(), kUnavailable);
  const auto parsed = NSJSONSerialization::JSONObjectWithData(*reply);
  const Dictionary* const health = parsed ? parsed->dictionary() : nullptr;
  if (health == nullptr || (*health)["well"].boolean() == nullptr) {
    return complain("the service's reply cannot be read", kUnavailable);
  }
  std::cout << (json ? jsonText(*health) + "\n" : healthText(*health, outputTakesColours()));
  return (*health)["well"].boolValue() ? kSuccess : kFailure;
}

}  // namespace

void addStatusCommand(CLI::App& app, int& code) {
  struct Arguments {
    std::string state;
    bool json = false;
  };
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command =
      app.add_subcommand("status", "Ask the running service how it is, and what ails it");
  command->footer(
      "Examples:\n"
      "  ksbeacon status                          the user's service, else the machine's\n"
      "  sudo ksbeacon status --json | jq .ailments\n"
      "  ksbeacon status --state DIR              the one that was started with --state DIR\n"
      "Exit codes: 0 all is well, 1 something ails it, 2 a wrong option, 3 no service answers.");
  command->add_option("--state", arguments->state, "The --state of the service that is meant")
      ->type_name("DIR");
  command->add_flag("--json", arguments->json, "One JSON object");
  command->callback([arguments, &code] { code = tellStatus(arguments->state, arguments->json); });
}

}  // namespace ks::tool
