#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace ks {

namespace fs = std::filesystem;

namespace {

/// The variable's value when it is an absolute path: the rules ignore any other.
fs::path pathFromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  const fs::path path = value == nullptr ? "" : value;
  return path.is_absolute() ? path : fs::path();
}

fs::path homeFolder() {
  if (fs::path home = pathFromEnvironment("HOME"); !home.empty()) return home;
  std::array<char, std::size_t{16} * 1024> text{};
  passwd entry = {};
  passwd* found = nullptr;
  getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found);
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "/";
}

fs::path baseFolder(const char* variable, const char* belowHome) {
  fs::path base = pathFromEnvironment(variable);
  return base.empty() ? homeFolder() / belowHome : base;
}

/// The identifier as one folder name that cannot lead elsewhere.
std::string folderName(std::string identifier) {
  std::replace(identifier.begin(), identifier.end(), '/', '_');
  if (identifier.empty() || identifier.front() == '.') identifier.insert(0, 1, '_');
  return identifier;
}

}  // namespace

LinuxFolders xdgFolders(const std::string& bundleIdentifier) {
  const std::string name = folderName(bundleIdentifier);
  LinuxFolders folders;
  folders.directories.caches = baseFolder("XDG_CACHE_HOME", ".cache") / name;
  folders.directories.documents = baseFolder("XDG_DATA_HOME", ".local/share") / name;
  folders.state = baseFolder("XDG_STATE_HOME", ".local/state") / name;
  return folders;
}

ServiceState stateOf(const PrivateFolders& folders) {
  if (folders.inUse()) {
    return {"Folders", false, folders.inUse()->localizedDescription(),
            "stop that process, or give one of the two a bundle identifier of its own"};
  }
  const std::string& refused = folders.refused();
  if (refused.empty()) {
    return {"Folders", true, "caches lie in " + folders.folders().directories.caches.string(), ""};
  }
  return {"Folders", false, "cannot write into " + refused,
          "mkdir -p '" + refused + "' && chown \"$(id -u)\" '" + refused + "'"};
}

}  // namespace ks
