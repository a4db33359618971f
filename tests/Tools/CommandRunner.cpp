#include "tests/Tools/CommandRunner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

namespace ks::test {

BackgroundCommand::BackgroundCommand(const std::string& shellCommand) {
  const std::string script = "exec " + shellCommand;
  const std::string output = folder_.path() / "output";
  const std::string errors = folder_.path() / "errors";
  pid_ = fork();
  if (pid_ != 0) return;
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND;
  dup2(open("/dev/null", O_RDONLY), 0);
  dup2(open(output.c_str(), kFlags, 0600), 1);
  dup2(open(errors.c_str(), kFlags, 0600), 2);
  execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
  _exit(127);
}

BackgroundCommand::~BackgroundCommand() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void BackgroundCommand::signal(int number) const { kill(pid_, number); }

int BackgroundCommand::wait(Seconds limit) {
  int status = 0;
  if (!runLoopUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, limit)) return -1;
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool BackgroundCommand::writes(const std::string& text, Seconds limit) const {
  return runLoopUntil([&] { return output().find(text) != std::string::npos; }, limit);
}

CommandResult runCommand(const std::string& shellCommand) {
  BackgroundCommand command(shellCommand);
  const int code = command.wait(Seconds{30});
  return {code, command.output(), command.errors()};
}

}  // namespace ks::test
