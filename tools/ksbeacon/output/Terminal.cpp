#include "tools/ksbeacon/output/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace ks::tool {

bool outputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool errorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

bool outputTakesColours() {
  const char* const plain = std::getenv("NO_COLOR");
  return outputIsTerminal() && (plain == nullptr || *plain == '\0');
}

std::string outputProblem() {
  errno = 0;
  if (std::cout.flush()) return "";
  // A stream that failed earlier has forgotten why; one more byte fails again.
  const bool isKnown = errno != 0 || write(STDOUT_FILENO, "\n", 1) < 0;
  const int reason = isKnown ? errno : 0;
  if (reason == EPIPE) return "nobody reads the output any more";
  const std::string problem = "the output could not be written";
  return reason == 0 ? problem : problem + ": " + std::strerror(reason);
}

TerminalSize outputSize() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
    return {};
  }
  return {size.ws_row, size.ws_col};
}

}  // namespace ks::tool
