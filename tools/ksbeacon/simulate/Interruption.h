#pragma once

namespace ks::tool {

/// Keeps SIGHUP, SIGINT and SIGTERM from ending a process that has something to clear away; the
/// second signal of a kind ends it. Signals that the caller ignores stay ignored. Lasts until the
/// process ends.
class Interruption {
 public:
  Interruption();

  static bool came();
  /// As a shell reports the end by that signal: 128 and its number.
  static int exitCode();
};

}  // namespace ks::tool
