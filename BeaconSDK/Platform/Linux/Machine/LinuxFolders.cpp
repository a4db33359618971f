#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Linux/Machine/PrivateFile.h"

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

fs::path makeTemporaryFolder(const std::string& bundleIdentifier) {
  fs::path base = pathFromEnvironment("TMPDIR");
  if (base.empty()) base = "/tmp";
  std::string pattern = (base / (folderName(bundleIdentifier) + "-XXXXXX")).string();
  return mkdtemp(pattern.data()) == nullptr ? fs::path() : fs::path(pattern);
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

PrivateFolders::PrivateFolders(LinuxFolders wanted, const std::string& bundleIdentifier)
    : folders_(std::move(wanted)) {
  Directories& directories = folders_.directories;
  if (directories.temporary.empty()) {
    directories.temporary = makeTemporaryFolder(bundleIdentifier);
    ownsTemporary_ = !directories.temporary.empty();
    // A full or locked temporary file system: the caches' own is the next best.
    if (!ownsTemporary_) directories.temporary = directories.caches / "Temporary";
  }
  for (const fs::path& folder :
       {directories.caches, directories.documents, directories.temporary, folders_.state}) {
    if (!makePrivateFolder(folder) || access(folder.c_str(), W_OK | X_OK) != 0) {
      refused_ = folder.string();
    }
  }
}

PrivateFolders::~PrivateFolders() {
  std::error_code ignored;
  if (ownsTemporary_) fs::remove_all(folders_.directories.temporary, ignored);
}

ServiceState PrivateFolders::state() const {
  if (refused_.empty()) {
    return {"Folders", true, "caches lie in " + folders_.directories.caches.string(), ""};
  }
  return {"Folders", false, "cannot write into " + refused_,
          "mkdir -p '" + refused_ + "' && chown \"$(id -u)\" '" + refused_ + "'"};
}

}  // namespace ks
