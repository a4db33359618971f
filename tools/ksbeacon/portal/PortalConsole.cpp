#include "tools/ksbeacon/portal/PortalConsole.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <variant>

#include "tools/ksbeacon/portal/FaultOption.h"
#include "tools/ksbeacon/portal/PortalServer.h"

namespace ks::tool {

namespace {

constexpr std::size_t kLongestLine = 4096;

std::string faultsAtWork(const portal::PortalServer& server) {
  std::string text;
  for (const portal::Fault& fault : server.faults()) {
    text += (text.empty() ? "" : ", ") + faultText(fault);
  }
  return "faults: " + (text.empty() ? "none" : text);
}

/// Without the blanks around it.
std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

std::string obeyFaultLine(const std::string& line, portal::PortalServer& server) {
  const std::string text = trimmed(line);
  const std::size_t blank = text.find_first_of(" \t");
  const std::string word = text.substr(0, blank);
  if (word == "fault" && blank != std::string::npos) {
    auto fault = faultFromOption(trimmed(text.substr(blank)));
    if (auto* const mistake = std::get_if<std::string>(&fault)) return "ksbeacon: " + *mistake;
    server.addFault(std::get<portal::Fault>(std::move(fault)));
  } else if (text == "clear") {
    server.clearFaults();
  } else if (text != "faults") {
    return fmt::format(R"(ksbeacon: expected "fault FAULT", "faults" or "clear", got "{}")", text);
  }
  return faultsAtWork(server);
}

PortalConsole::PortalConsole() {
  // The number of a closed standard input would go to the next file that is opened.
  if (::fcntl(STDIN_FILENO, F_GETFD) == -1) ::open("/dev/null", O_RDONLY);
  // Reading a terminal from its background then fails; otherwise it stops the process.
  std::signal(SIGTTIN, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signals_ = ::signalfd(-1, &signals, SFD_CLOEXEC);
}

PortalConsole::~PortalConsole() { ::close(signals_); }

void PortalConsole::wait(const std::function<void(const std::string&)>& obey) {
  std::array<pollfd, 2> sources = {{{signals_, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
  auto& [signals, input] = sources;
  while (signals.revents == 0) {
    if (::poll(sources.data(), sources.size(), -1) < 0) {
      signals.revents = input.revents = 0;
      continue;
    }
    // A source with a negative number is left out from then on.
    if (input.revents != 0 && !readLines(obey)) input.fd = -1;
  }
}

bool PortalConsole::readLines(const std::function<void(const std::string&)>& obey) {
  std::array<char, kLongestLine> bytes{};
  const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
  if (count < 0) return errno == EINTR || errno == EAGAIN;
  unread_.append(bytes.data(), static_cast<std::size_t>(count));
  if (count == 0 && !unread_.empty()) unread_ += '\n';
  for (auto end = unread_.find('\n'); end != std::string::npos; end = unread_.find('\n')) {
    const std::string line = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    if (line.find_first_not_of(" \t\r") != std::string::npos) obey(line);
  }
  return count > 0 && unread_.size() <= kLongestLine;
}

}  // namespace ks::tool
