#include "tools/ksbeacon/why/WhyCommand.h"

#include <iostream>
#include <memory>
#include <string>
#include <variant>

#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/status/StatusSocket.h"
#include "tools/ksbeacon/why/FileExplanation.h"

namespace ks::tool {

namespace {

struct Arguments {
  std::string subject;
  std::string file;
  /// Seconds; below 0: at the end.
  double at = -1;
  std::string documents;
  std::string device;
  /// Of the service that is asked.
  std::string state;
  bool json = false;
};

void print(const Dictionary& answer, bool asJson) {
  std::cout << (asJson ? jsonText(answer) + "\n" : whyText(answer));
}

/// The service that runs knows its own day.
int askRunning(const Arguments& arguments) {
  if (arguments.at >= 0 || !arguments.documents.empty() || !arguments.device.empty()) {
    return complain("--at, --device and --documents need a FILE", kUsage);
  }
  const auto reply = askEitherService(arguments.state, kWhyRequest + arguments.subject);
  if (!reply) return complain(reply.error().localizedDescription(), kUnavailable);
  const auto parsed = NSJSONSerialization::JSONObjectWithData(*reply);
  const Dictionary* const answer = parsed ? parsed->dictionary() : nullptr;
  if (answer == nullptr || (*answer)["conclusion"].string() == nullptr) {
    return complain("the service's reply cannot be read", kUnavailable);
  }
  print(*answer, arguments.json);
  return kSuccess;
}

int askFile(const Arguments& arguments) {
  WhyQuestion question{arguments.subject, arguments.file, std::nullopt, arguments.documents,
                       arguments.device};
  if (arguments.at >= 0) question.at = Seconds{arguments.at};
  const auto answer = explainFile(question);
  if (const auto* const failure = std::get_if<std::string>(&answer)) {
    return complain(*failure, kUsage);
  }
  print(whyDetails(std::get<WhyAnswer>(answer)), arguments.json);
  return kSuccess;
}

}  // namespace

void addWhyCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command = app.add_subcommand("why", "Why a content fired or did not");
  command->footer(
      "Examples:\n"
      "  ksbeacon why coffee examples/scenarios/demo.json            at the end of the walk\n"
      "  ksbeacon why coffee examples/scenarios/demo.json --at 60    at a moment\n"
      "  ksbeacon why b-cafe day.ksrec --documents portal/           of a recorded day\n"
      "  ksbeacon why coffee                                         of the service that runs\n"
      "Answers link by link, from the portal to the screen, and with one sentence: what would "
      "have\n"
      "to change for it to fire.\n"
      "Exit codes: 0 answered, 2 a mistake in the options or in the file, 3 no service answers.");
  command->add_option("NAME", arguments->subject, "Identifier of a content or a zone")->required();
  command->add_option("FILE", arguments->file,
                      "A scenario or a recording; without, the running service is asked");
  command->add_option("--at", arguments->at, "So many seconds after the start; else at the end")
      ->type_name("SECONDS")
      ->check(numberBetween(0.001, 366.0 * 24 * 3600));
  command
      ->add_option("--documents", arguments->documents,
                   "Folder of the portal's documents; a scenario names its own")
      ->type_name("DIR");
  command
      ->add_option("--device", arguments->device, "Of several devices in a scenario: the one meant")
      ->type_name("NAME");
  command->add_option("--state", arguments->state, "The --state of the service that is meant")
      ->type_name("DIR");
  command->add_flag("--json", arguments->json, "One JSON object");
  command->callback([arguments, &code] {
    code = arguments->file.empty() ? askRunning(*arguments) : askFile(*arguments);
  });
}

}  // namespace ks::tool
