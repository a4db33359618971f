#include "tools/ksbeacon/check/CheckCommand.h"

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Value.h"
#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/check/DocumentCheck.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"

namespace ks::tool {

namespace {

int checkFolder(const std::string& folder, bool json) {
  std::error_code ec;
  if (!std::filesystem::is_directory(folder, ec)) {
    return complain(folder + ": expected a folder of portal documents", kUsage);
  }
  const auto problems = checkDocuments(folder, std::chrono::system_clock::now());
  for (const portal::DocumentProblem& problem : problems) {
    std::cout << (json ? jsonText(Dictionary{{"file", problem.file.filename().string()},
                                             {"line", problem.line},
                                             {"member", problem.member},
                                             {"message", problem.message}})
                       : printable(problem.description()))
              << '\n';
  }
  if (!json && problems.empty()) std::cout << "nothing is wrong\n";
  return problems.empty() ? kSuccess : kFailure;
}

}  // namespace

void addCheckCommand(CLI::App& app, int& code) {
  struct Arguments {
    std::string folder;
    bool json = false;
  };
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command = app.add_subcommand("check", "Check portal documents without a device");
  command->footer(
      "Examples:\n"
      "  ksbeacon check examples/portal           what is wrong, with file, line and reason\n"
      "  ksbeacon check examples/portal --json    one JSON object per problem\n"
      "docs/portal.md describes the documents.\n"
      "Exit codes: 0 nothing is wrong, 1 something is, 2 there is no such folder.");
  command->add_option("DIR", arguments->folder, "Folder of the documents")->required();
  command->add_flag("--json", arguments->json, "One JSON object per line");
  command->callback([arguments, &code] { code = checkFolder(arguments->folder, arguments->json); });
}

}  // namespace ks::tool
