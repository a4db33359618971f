#include "tools/ksbeacon/status/HeldCommands.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "BeaconSDK/Classes/Manager/Health/HeldData.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"
#include "BeaconSDK/Platform/Linux/Machine/SystemFile.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/status/StateFolders.h"

namespace ks::tool {

namespace {

namespace fs = std::filesystem;

LinuxFolders foldersOf(const std::string& state) {
  return state.empty() ? xdgFolders(LinuxPlatformOptions().bundleIdentifier) : stateFolders(state);
}

/// The device as the library would find it, without its services. Throws when a process uses its
/// files.
class StoppedDevice {
 public:
  explicit StoppedDevice(const LinuxFolders& folders) {
    LinuxPlatformOptions options;
    options.folders = folders;
    options.connectServices = false;
    options.logDescriptor = -1;
    Platform::install(std::make_shared<LinuxPlatform>(std::move(options)));
  }
  StoppedDevice(const StoppedDevice&) = delete;
  StoppedDevice& operator=(const StoppedDevice&) = delete;
  ~StoppedDevice() { Platform::install(nullptr); }
};

/// What the platform keeps for the library: regions, defaults and the identifier of last resort.
Array platformFiles(const fs::path& folder) {
  Array list;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    std::error_code unknown;
    if (!entry->is_regular_file(unknown) || name.starts_with('.')) continue;
    list.items.emplace_back(
        Dictionary{{"file", name},
                   {"bytes", static_cast<std::int64_t>(entry->file_size(unknown))},
                   {"text", readSystemFile(entry->path())}});
  }
  return list;
}

int tellHeld(const std::string& state) {
  const LinuxFolders folders = foldersOf(state);
  Dictionary held;
  {
    const StoppedDevice device(folders);
    held = ks::HeldData::all();
  }
  held.set("platform", platformFiles(folders.state));
  std::cout << jsonText(held) << '\n';
  return kSuccess;
}

/// Everything but the locks, which this process holds.
void removeContent(const fs::path& folder) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (entry.path().filename() != ".lock") fs::remove_all(entry.path(), ignored);
  }
}

int purge(const std::string& state) {
  const LinuxFolders folders = foldersOf(state);
  const PrivateFolders owned(folders);
  if (owned.inUse()) throw std::runtime_error(owned.inUse()->localizedDescription());
  removeContent(folders.directories.caches);
  removeContent(folders.directories.documents);
  removeContent(folders.state);
  std::cout << "removed all that the library held in " << folders.directories.caches.string()
            << ", " << folders.directories.documents.string() << " and " << folders.state.string()
            << '\n';
  return kSuccess;
}

/// `work` needs the files for itself.
int withStoppedService(const std::string& state, int (*work)(const std::string&)) {
  try {
    return work(state);
  } catch (const std::runtime_error& error) {
    return complain(std::string(error.what()) + "; stop it first", kUnavailable);
  }
}

CLI::App* add(CLI::App& app, int& code, const char* name, const char* description,
              int (*work)(const std::string&)) {
  CLI::App* const command = app.add_subcommand(name, description);
  auto state = std::make_shared<std::string>();
  command->add_option("--state", *state, "The --state of the service that is meant")
      ->type_name("DIR");
  command->callback([state, work, &code] { code = withStoppedService(*state, work); });
  return command;
}

}  // namespace

void addHeldCommands(CLI::App& app, int& code) {
  add(app, code, "held", "List all that the library holds of its user, as JSON", tellHeld)
      ->footer(
          "Examples:\n"
          "  ksbeacon held | jq .\n"
          "  ksbeacon held --state DIR | jq '.files[].file'\n"
          "Exit codes: 0 success, 2 a wrong option, 3 a service uses the files: stop it first.");
  add(app, code, "purge", "Remove all that the library holds of its user", purge)
      ->footer(
          "Examples:\n"
          "  systemctl --user stop ksbeacon && ksbeacon purge\n"
          "Exit codes: 0 success, 2 a wrong option, 3 a service uses the files: stop it first.");
}

}  // namespace ks::tool
