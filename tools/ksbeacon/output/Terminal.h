#pragma once

#include <cstddef>

namespace ks::tool {

/// The process's standard streams, asked once and in one place.
bool outputIsTerminal();
bool errorIsTerminal();
/// A terminal, unless the environment's NO_COLOR asks for plain text.
bool outputTakesColours();

struct TerminalSize {
  std::size_t rows = 24;
  std::size_t columns = 80;
};
/// Of the terminal on standard output; the usual size when it does not say.
TerminalSize outputSize();

}  // namespace ks::tool
