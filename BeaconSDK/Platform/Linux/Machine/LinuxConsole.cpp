#include "BeaconSDK/Platform/Linux/Machine/LinuxConsole.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "BeaconSDK/Platform/Common/PrintableText.h"

namespace ks {

namespace {

/// The service manager names the journal's stream in the environment, which children inherit even
/// when their output goes elsewhere.
bool isJournal(int descriptor) {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat found = {};
  if (stream == nullptr || ::fstat(descriptor, &found) != 0) return false;
  return std::to_string(found.st_dev) + ":" + std::to_string(found.st_ino) == stream;
}

}  // namespace

LinuxConsole::LinuxConsole(const std::string& applicationName, int descriptor)
    : descriptor_(descriptor),
      prefix_(isJournal(descriptor) ? "<6>"
                                    : applicationName + "[" + std::to_string(::getpid()) + "]: ") {}

void LinuxConsole::log(std::string_view message) {
  std::string text = prefix_;
  text.reserve(prefix_.size() + message.size() + 1);
  for (auto end = message.find('\n'); end != message.npos; end = message.find('\n')) {
    text += printable(message.substr(0, end)) + '\n' + prefix_;
    message.remove_prefix(end + 1);
  }
  text += printable(message) + '\n';
  const std::lock_guard lock(mutex_);
  std::string_view left = text;
  while (!left.empty()) {
    const ssize_t count = ::write(descriptor_, left.data(), left.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    left.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace ks
