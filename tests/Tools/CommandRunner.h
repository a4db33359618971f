#pragma once

#include <string>

#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

/// A program whose streams go to files. Ends with the object.
class BackgroundCommand {
 public:
  explicit BackgroundCommand(const std::string& shellCommand)
      : process_({"sh", "-c",
                  "exec 2>" + (folder_.path() / "errors").string() + "; exec " + shellCommand},
                 folder_.path() / "output") {}

  void signal(int number) const { process_.signal(number); }
  /// The exit code; -1 when it still runs after `limit`, or was killed.
  int wait(Seconds limit = Seconds{60}) { return process_.wait(limit).value_or(-1); }
  std::string output() const { return readText(folder_.path() / "output"); }
  std::string errors() const { return readText(folder_.path() / "errors"); }
  /// Whether it writes `text` within `limit`.
  bool writes(const std::string& text, Seconds limit = Seconds{60}) const {
    return runLoopUntil([&] { return output().find(text) != std::string::npos; }, limit);
  }

 private:
  TemporaryFolder folder_;
  ChildProcess process_;
};

struct CommandResult {
  int code = -1;
  std::string output;
  std::string errors;
};
/// To its end, or for two minutes.
inline CommandResult runCommand(const std::string& shellCommand) {
  BackgroundCommand command(shellCommand);
  const int code = command.wait(Seconds{120});
  return {code, command.output(), command.errors()};
}

}  // namespace ks::test
