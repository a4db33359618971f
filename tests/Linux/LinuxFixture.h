#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks::test {

/// A program that runs as long as the object lives.
class ChildProcess {
 public:
  ChildProcess() = default;
  /// Both of its streams go into the file.
  explicit ChildProcess(const std::vector<std::string>& arguments,
                        const std::filesystem::path& output = "/dev/null");
  ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  ChildProcess& operator=(ChildProcess&& other) noexcept;
  ~ChildProcess() { end(); }
  void end();
  void signal(int number) const;
  /// The exit code, when the program ends by itself in time.
  std::optional<int> wait(Seconds limit = Seconds{60});
  bool isRunning() const { return pid_ > 0; }

 private:
  pid_t pid_ = -1;
};

/// A script in the folder of these tests.
std::filesystem::path script(const std::string& name);

/// Runs a program to its end; true when it succeeded.
bool run(const std::vector<std::string>& arguments);

/// One message bus that serves this process as system and session bus, from its making on.
class PrivateBus {
 public:
  PrivateBus();
  bool isRunning() const { return daemon_.isRunning(); }
  void stop() { daemon_.end(); }
  /// At the same address as before.
  void start();
  /// Lets calls to `name` start a program, which must end with the bus.
  void offer(const std::string& name, const std::string& command);

 private:
  TemporaryFolder folder_;
  ChildProcess daemon_;
};

/// Runs the default main context until `condition` holds; false after `limit`.
bool runLoopUntil(const std::function<bool()>& condition, Seconds limit = Seconds{60});
/// Runs it for `span`.
void runLoopFor(Seconds span);

/// Keeps what is logged.
class RecordingConsole : public Console {
 public:
  void log(std::string_view message) override { lines.emplace_back(message); }
  std::vector<std::string> lines;
};

}  // namespace ks::test
