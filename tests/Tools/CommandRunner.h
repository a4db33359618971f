#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

/// A program whose output goes to files. Killed with the object.
class BackgroundCommand {
 public:
  explicit BackgroundCommand(const std::string& shellCommand);
  BackgroundCommand(const BackgroundCommand&) = delete;
  BackgroundCommand& operator=(const BackgroundCommand&) = delete;
  ~BackgroundCommand();

  pid_t pid() const { return pid_; }
  void signal(int number) const;
  /// The exit code; 128 and the signal's number after a signal; -1 when it still runs after
  /// `limit`.
  int wait(Seconds limit = Seconds{10});
  std::string output() const { return readText(folder_.path() / "output"); }
  std::string errors() const { return readText(folder_.path() / "errors"); }
  /// Whether it writes `text` within `limit`.
  bool writes(const std::string& text, Seconds limit = Seconds{10}) const;

 private:
  TemporaryFolder folder_;
  pid_t pid_ = -1;
};

struct CommandResult {
  int code = -1;
  std::string output;
  std::string errors;
};
/// To its end, or for half a minute.
CommandResult runCommand(const std::string& shellCommand);

}  // namespace ks::test
