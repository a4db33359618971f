#include "tools/ksbeacon/inspect/InspectCommand.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tools/ksbeacon/documents/InputError.h"
#include "tools/ksbeacon/inspect/ArchiveView.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"

namespace ks::tool {

namespace {

/// Far above what the library writes; protects the memory from a wrong file.
constexpr std::uintmax_t kLargestFile = 256UL * 1024 * 1024;

int refuse(const std::string& file, const std::string& text) {
  return complain(InputError{file, 0, "", text}.message(), kUsage);
}

int inspect(const std::string& file, bool json) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(file, ec)) return refuse(file, "expected a file");
  if (std::filesystem::file_size(file, ec) > kLargestFile) {
    return refuse(file, "expected an archive, got more than 256 MiB");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return refuse(file, "cannot be read");
  const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(stream), {}};
  const auto view = viewArchive(bytes);
  if (!view) {
    return refuse(file, "expected a keyed archive or a property list: " +
                            view.error().localizedDescription());
  }
  if (json) {
    std::cout << archiveJson(view->content) << '\n';
  } else {
    std::cout << "# " << view->form << '\n' << archiveText(view->content);
  }
  return kSuccess;
}

}  // namespace

void addInspectCommand(CLI::App& app, int& code) {
  struct Arguments {
    std::string file;
    bool json = false;
  };
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command = app.add_subcommand("inspect", "Show what stands in an archive");
  command->footer(
      "Examples:\n"
      "  ksbeacon inspect ~/.cache/org.ksbeacon.ksbeacon/KSProximityManager/locations.dat\n"
      "  ksbeacon inspect locations.dat --json | jq .          the same for a program\n"
      "Reads keyed archives and property lists, binary and XML, of any program. What is referred\n"
      "to more than once has a number, as in \"#3\", and \"-> #3\" stands for it elsewhere.\n"
      "Exit codes: 0 shown, 2 the file is none of these.");
  command->add_option("FILE", arguments->file, "Archive or property list")->required();
  command->add_flag("--json", arguments->json, "One JSON value");
  command->callback([arguments, &code] { code = inspect(arguments->file, arguments->json); });
}

}  // namespace ks::tool
