#include "BeaconSDK/Platform/Linux/Machine/PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

namespace ks {

namespace fs = std::filesystem;

namespace {

/// Many times what a thousand monitored regions take.
constexpr std::size_t kLongestState = std::size_t{16} * 1024 * 1024;
constexpr std::size_t kLongestLineFile = std::size_t{64} * 1024;

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int get() const { return number_; }

 private:
  int number_;
};

bool writeAll(int file, const Data& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = ::write(file, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

/// Without it a power cut could undo the renaming.
void makeNamesDurable(const fs::path& folder) {
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.get() >= 0) ::fsync(opened.get());
}

}  // namespace

bool makePrivateFolder(const fs::path& folder) {
  if (::mkdir(folder.c_str(), S_IRWXU) == 0) return true;
  if (errno == ENOENT && folder.has_parent_path() && folder.parent_path() != folder) {
    return makePrivateFolder(folder.parent_path()) && ::mkdir(folder.c_str(), S_IRWXU) == 0;
  }
  struct stat found = {};
  if (::stat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) return false;
  const bool isOpen = (found.st_mode & (S_IRWXG | S_IRWXO)) != 0;
  return !isOpen || found.st_uid != ::geteuid() || ::chmod(folder.c_str(), S_IRWXU) == 0;
}

bool writePrivateFile(const fs::path& path, const Data& bytes) {
  const fs::path folder = path.parent_path();
  std::error_code error;
  if (!fs::is_directory(folder, error) && !makePrivateFolder(folder)) return false;
  std::string copy = path.string() + ".XXXXXX";
  {
    const Descriptor file(::mkostemp(copy.data(), O_CLOEXEC));
    if (file.get() < 0) return false;
    if (!writeAll(file.get(), bytes) || ::fsync(file.get()) != 0) {
      ::unlink(copy.c_str());
      return false;
    }
  }
  if (::rename(copy.c_str(), path.c_str()) != 0) {
    ::unlink(copy.c_str());
    return false;
  }
  makeNamesDurable(folder);
  return true;
}

std::optional<Data> readFileUpTo(const fs::path& path, std::size_t limit) {
  // A pipe or a device in the file's place must not keep the reader waiting.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat found = {};
  if (file.get() < 0 || ::fstat(file.get(), &found) != 0 || !S_ISREG(found.st_mode)) {
    return std::nullopt;
  }
  Data bytes;
  constexpr std::size_t kChunk = std::size_t{16} * 1024;
  while (bytes.size() <= limit) {
    const std::size_t before = bytes.size();
    bytes.resize(before + kChunk);
    const ssize_t count = ::read(file.get(), bytes.data() + before, kChunk);
    bytes.resize(before + static_cast<std::size_t>(count > 0 ? count : 0));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return bytes;
  }
  return std::nullopt;
}

std::string readFirstLine(const fs::path& path) {
  const auto bytes = readFileUpTo(path, kLongestLineFile);
  if (!bytes) return "";
  const std::string text(bytes->begin(), bytes->end());
  const std::string line = text.substr(0, text.find('\n'));
  const auto first = line.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

std::optional<Data> PrivateStateStore::load() { return readFileUpTo(path_, kLongestState); }

}  // namespace ks
