#include "BeaconSDK/Platform/Linux/Machine/LinuxConsole.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

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

bool isControl(char character) {
  const auto code = static_cast<unsigned char>(character);
  return (code < 0x20 && character != '\t' && character != '\n') || code == 0x7F;
}

}  // namespace

LinuxConsole::LinuxConsole(const std::string& applicationName, int descriptor)
    : descriptor_(descriptor),
      prefix_(isJournal(descriptor) ? "<6>"
                                    : applicationName + "[" + std::to_string(::getpid()) + "]: ") {}

void LinuxConsole::log(std::string_view message) {
  std::string text = prefix_;
  text.reserve(prefix_.size() + message.size() + 1);
  for (const char character : message) {
    text += isControl(character) ? '?' : character;
    if (character == '\n') text += prefix_;
  }
  text += '\n';
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
