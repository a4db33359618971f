#include "tests/Linux/LinuxFixture.h"

#include <fcntl.h>
#include <glib.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>
#include <utility>

#include "BeaconSDK/Platform/Common/SystemClock.h"

namespace ks::test {

namespace fs = std::filesystem;

namespace {

pid_t spawn(const std::vector<std::string>& arguments, const fs::path& output = "/dev/null") {
  std::vector<char*> texts;
  for (const auto& argument : arguments) texts.push_back(const_cast<char*>(argument.c_str()));
  texts.push_back(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, S_IRUSR | S_IWUSR);
    dup2(file, 1);
    dup2(file, 2);
    execvp(texts[0], texts.data());
    _exit(127);
  }
  return pid;
}

/// A socket is there some time before it listens.
bool acceptsConnections(const fs::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.string().copy(address.sun_path, sizeof address.sun_path - 1);
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool accepted =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(probe);
  return accepted;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const fs::path& output)
    : pid_(spawn(arguments, output)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  end();
  pid_ = std::exchange(other.pid_, -1);
  return *this;
}

void ChildProcess::end() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(std::exchange(pid_, -1), nullptr, 0);
}

void ChildProcess::signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

std::optional<int> ChildProcess::wait(Seconds limit) {
  int status = 0;
  if (!runLoopUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, limit)) {
    return std::nullopt;
  }
  pid_ = -1;
  if (!WIFEXITED(status)) return std::nullopt;
  return WEXITSTATUS(status);
}

fs::path script(const std::string& name) { return fs::path(KS_TEST_FOLDER) / name; }

bool run(const std::vector<std::string>& arguments) {
  int status = 0;
  const pid_t pid = spawn(arguments);
  return pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

PrivateBus::PrivateBus() {
  fs::create_directory(folder_.path() / "services");
  writeText(
      folder_.path() / "bus.conf",
      "<busconfig><type>custom</type><listen>unix:path=" + (folder_.path() / "socket").string() +
          "</listen><servicedir>" + (folder_.path() / "services").string() +
          "</servicedir><auth>EXTERNAL</auth><policy context=\"default\">"
          "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
          "<allow own=\"*\"/></policy></busconfig>");
  const std::string address = "unix:path=" + (folder_.path() / "socket").string();
  setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  start();
}

void PrivateBus::start() {
  std::error_code ignored;
  fs::remove(folder_.path() / "socket", ignored);
  daemon_ = ChildProcess({"dbus-daemon", "--nofork", "--nopidfile",
                          "--config-file=" + (folder_.path() / "bus.conf").string()});
  runLoopUntil([&] { return acceptsConnections(folder_.path() / "socket"); });
}

void PrivateBus::offer(const std::string& name, const std::string& command) {
  writeText(folder_.path() / "services" / (name + ".service"),
            "[D-BUS Service]\nName=" + name + "\nExec=" + command + "\n");
  run({"gdbus", "call", "--session", "-d", "org.freedesktop.DBus", "-o", "/org/freedesktop/DBus",
       "-m", "org.freedesktop.DBus.ReloadConfig"});
}

bool runLoopUntil(const std::function<bool()>& condition, Seconds limit) {
  const Seconds end = monotonicUptime() + limit;
  while (!condition()) {
    if (monotonicUptime() > end) return false;
    if (g_main_context_iteration(nullptr, FALSE) == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  return true;
}

void runLoopFor(Seconds span) {
  const Seconds end = monotonicUptime() + span;
  runLoopUntil([&] { return monotonicUptime() >= end; }, span * 2);
}

}  // namespace ks::test
