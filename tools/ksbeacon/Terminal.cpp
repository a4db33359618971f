#include "tools/ksbeacon/Terminal.h"

#include <unistd.h>

#include <cstdlib>

namespace ks::tool {

bool outputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool errorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

bool outputTakesColours() {
  const char* const plain = std::getenv("NO_COLOR");
  return outputIsTerminal() && (plain == nullptr || *plain == '\0');
}

}  // namespace ks::tool
