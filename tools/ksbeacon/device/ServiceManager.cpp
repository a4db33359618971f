#include "tools/ksbeacon/device/ServiceManager.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace ks::tool {

namespace {

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::optional<std::uint64_t> numberIn(const std::string& text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end ? std::optional(number) : std::nullopt;
}

}  // namespace

ServiceManager::ServiceManager() : socket_(variable("NOTIFY_SOCKET")) {
  constexpr double kMicroseconds = 1e6;
  const auto limit = numberIn(variable("WATCHDOG_USEC"));
  const std::string watched = variable("WATCHDOG_PID");
  // Children inherit the environment, but are not watched.
  const bool isThis = watched.empty() || numberIn(watched) == static_cast<std::uint64_t>(getpid());
  if (limit && *limit > 0 && isThis) {
    watchInterval_ = Seconds{static_cast<double>(*limit) / kMicroseconds / 2};
  }
}

void ServiceManager::reloading() const {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  notify(fmt::format("RELOADING=1\nMONOTONIC_USEC={}",
                     static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000));
}

void ServiceManager::notify(std::string_view message) const {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (socket_.empty() || socket_.size() >= sizeof address.sun_path) return;
  std::ranges::copy(socket_, address.sun_path);
  // A name that begins with "@" stands for an abstract one.
  if (socket_.front() == '@') address.sun_path[0] = '\0';
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.size());
  // Nobody could be told of a failure.
  static_cast<void>(sendto(descriptor, message.data(), message.size(), MSG_NOSIGNAL,
                           reinterpret_cast<const sockaddr*>(&address), length));
  close(descriptor);
}

}  // namespace ks::tool
