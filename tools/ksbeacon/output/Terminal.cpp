#include "tools/ksbeacon/output/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace ks::tool {

bool outputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool errorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

bool outputTakesColours() {
  const char* const plain = std::getenv("NO_COLOR");
  return outputIsTerminal() && (plain == nullptr || *plain == '\0');
}

TerminalSize outputSize() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
    return {};
  }
  return {size.ws_row, size.ws_col};
}

}  // namespace ks::tool
