#pragma once

#include <functional>
#include <string>

namespace ks::portal {
class PortalServer;
}

namespace ks::tool {

/// Does what a line says to the portal's faults: "fault FAULT" adds one, "clear" removes all,
/// "faults" only asks. The answer is one line: the faults now at work or, when nothing was changed
/// because the line is wrong, what was expected.
std::string obeyFaultLine(const std::string& line, portal::PortalServer& server);

/// How a portal is spoken to while it serves: signals and the standard input.
///
/// To be made before any file is opened and any thread is started: from then on SIGINT and SIGTERM
/// wait for `wait`.
class PortalConsole {
 public:
  PortalConsole();
  PortalConsole(const PortalConsole&) = delete;
  PortalConsole& operator=(const PortalConsole&) = delete;
  ~PortalConsole();

  /// Until SIGINT or SIGTERM comes. Each line of the standard input is handed to `obey` meanwhile.
  /// Its end ends only the reading, and so does input that cannot be read: a closed one, that of a
  /// terminal in whose background the process runs, a line longer than 4096 bytes.
  void wait(const std::function<void(const std::string&)>& obey);

 private:
  /// Hands over the whole lines of what was read so far. False when nothing more can come.
  bool readLines(const std::function<void(const std::string&)>& obey);

  int signals_ = -1;
  std::string unread_;
};

}  // namespace ks::tool
