#include "tools/ksbeacon/device/Password.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <utility>

#include "BeaconSDK/Platform/Linux/Machine/SecretStore.h"

namespace ks::tool {

namespace {

constexpr std::size_t kLongestPassword = 4096;
/// A locked store asks its user to open it.
constexpr Seconds kStorePatience{60};

Error problem(const std::string& where, const std::string& what) {
  return {"org.ksbeacon.password", 1, where + ": " + what};
}

/// A file that is open, or is not.
class OpenFile {
 public:
  explicit OpenFile(const std::filesystem::path& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~OpenFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

Result<std::string> passwordIn(const std::string& where, std::string text) {
  if (text.size() > kLongestPassword) return problem(where, "longer than any password");
  if (text.ends_with('\n')) text.pop_back();
  if (text.ends_with('\r')) text.pop_back();
  if (text.empty()) return problem(where, "expected a password, got an empty file");
  if (text.find_first_of(std::string_view("\n\0", 2)) != std::string::npos) {
    return problem(where, "expected a password on one line");
  }
  return text;
}

Result<std::string> readSmallFile(const OpenFile& file, const std::string& where) {
  std::string text(kLongestPassword + 3, '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t count = read(file.descriptor(), text.data() + size, text.size() - size);
    if (count < 0) return problem(where, "cannot be read");
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  text.resize(size);
  return passwordIn(where, std::move(text));
}

/// The service manager has seen to who may read its credentials.
std::optional<Result<std::string>> readCredential(const std::string& wanted) {
  const char* const folder = std::getenv("CREDENTIALS_DIRECTORY");
  const std::string name = wanted.empty() ? kUsualCredential : wanted;
  if (folder == nullptr || *folder == '\0') {
    if (wanted.empty()) return std::nullopt;
    return problem(name, "the service manager has given no credentials (LoadCredential=)");
  }
  const std::filesystem::path path = std::filesystem::path(folder) / name;
  const OpenFile file(path);
  if (file.descriptor() < 0) {
    if (wanted.empty()) return std::nullopt;
    return problem(name, "the service manager has given no credential of this name");
  }
  return readSmallFile(file, name);
}

}  // namespace

Result<std::string> readPasswordFile(const std::filesystem::path& path) {
  const OpenFile file(path);
  struct stat found = {};
  if (file.descriptor() < 0 || fstat(file.descriptor(), &found) != 0) {
    return problem(path, "expected a file with the password; there is none that can be read");
  }
  if (!S_ISREG(found.st_mode)) return problem(path, "expected a file with the password");
  if (found.st_uid != geteuid() && found.st_uid != 0) {
    return problem(path, "belongs to another user, who could change the password");
  }
  if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    return problem(path, fmt::format("others may use the password (mode {:04o}); chmod 600 '{}'",
                                     found.st_mode & 07777, path.string()));
  }
  return readSmallFile(file, path);
}

Result<std::string> findPassword(const PasswordSources& sources) {
  if (!sources.file.empty()) return readPasswordFile(sources.file);
  if (const auto credential = readCredential(sources.credential)) return *credential;
  const SecretStore::Answer answer = SecretStore::lookUp(
      {{"application", "ksbeacon"}, {"portal", sources.portalURL}, {"user", sources.user}},
      kStorePatience);
  if (answer.secret) return passwordIn("secret store", *answer.secret);
  return problem(sources.user, "there is no password: no --password-file, no credential " +
                                   std::string(kUsualCredential) + ", and " + answer.problem);
}

}  // namespace ks::tool
