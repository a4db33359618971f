#pragma once

namespace ks::tool {

/// The process's standard streams, asked once and in one place.
bool outputIsTerminal();
bool errorIsTerminal();
/// A terminal, unless the environment's NO_COLOR asks for plain text.
bool outputTakesColours();

}  // namespace ks::tool
