#pragma once

#include <cstddef>
#include <string>

namespace ks::tool {

/// The process's standard streams, asked once and in one place.
bool outputIsTerminal();
bool errorIsTerminal();
/// A terminal, unless the environment's NO_COLOR asks for plain text.
bool outputTakesColours();

/// Flushes standard output. Returns why it takes no more, as a closed pipe or a full disk, or an
/// empty string.
std::string outputProblem();

struct TerminalSize {
  std::size_t rows = 24;
  std::size_t columns = 80;
};
/// Of the terminal on standard output; the usual size when it does not say.
TerminalSize outputSize();

}  // namespace ks::tool
