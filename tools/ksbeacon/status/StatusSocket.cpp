#include "tools/ksbeacon/status/StatusSocket.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Common/NamedThread.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks::tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDomain = "status";
/// Whoever waits longer than this to be read from, or to read, is given up.
constexpr timeval kTransferLimit{1, 0};
constexpr int kBacklog = 4;
constexpr std::size_t kLongestRequest = 1024;
/// Where the machine's service listens.
constexpr const char* kServiceSocket = "/run/ksbeacon/status.sock";

Error failure(const std::string& what) {
  return {kDomain, errno, fmt::format("{}: {}", what, std::strerror(errno))};
}

fs::path folderFrom(const char* variable) {
  const char* const value = std::getenv(variable);
  const std::string text = value == nullptr ? "" : value;
  const fs::path folder = text.substr(0, text.find(':'));
  return folder.is_absolute() ? folder : fs::path();
}

/// Nothing when the path is too long for the system.
std::optional<sockaddr_un> addressOf(const fs::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string& text = path.native();
  if (text.size() >= sizeof address.sun_path) return std::nullopt;
  std::ranges::copy(text, address.sun_path);
  return address;
}

FileDescriptor makeSocket() {
  return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

bool isConnected(const FileDescriptor& descriptor, const sockaddr_un& address) {
  return connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
         0;
}

void send(int descriptor, std::string_view text) {
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &kTransferLimit, sizeof kTransferLimit);
  while (!text.empty()) {
    const ssize_t sent = ::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
}

/// The caller's line; as much of it as came in time.
std::string receive(int descriptor) {
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &kTransferLimit, sizeof kTransferLimit);
  std::string text;
  char part[kLongestRequest];
  while (text.size() < kLongestRequest && text.find('\n') == std::string::npos) {
    const ssize_t got = read(descriptor, part, sizeof part - text.size());
    if (got <= 0) break;
    text.append(part, static_cast<std::size_t>(got));
  }
  return text.substr(0, text.find('\n'));
}

}  // namespace

fs::path statusSocketPath(const fs::path& state) {
  fs::path folder = folderFrom("RUNTIME_DIRECTORY");
  if (folder.empty()) {
    folder = folderFrom("XDG_RUNTIME_DIR");
    if (!folder.empty()) folder /= "ksbeacon";
  }
  if (folder.empty()) {
    folder = fs::temp_directory_path() / ("ksbeacon-" + std::to_string(geteuid()));
  }
  if (state.empty()) return folder / "status.sock";
  const std::size_t hash = std::hash<std::string>{}(fs::absolute(state).lexically_normal());
  return folder / fmt::format("status-{:016x}.sock", hash);
}

Result<std::unique_ptr<StatusSocket>> StatusSocket::open(const fs::path& path,
                                                         DispatchQueue& mainQueue, Answer answer) {
  const auto address = addressOf(path);
  if (!address) return Error(kDomain, ENAMETOOLONG, path.string() + ": the name is too long");
  if (auto error = makePrivateFolder(path.parent_path())) return *error;
  if (isConnected(makeSocket(), *address)) {
    return Error(kDomain, EADDRINUSE, path.string() + ": another service listens there");
  }
  std::error_code ignored;
  if (fs::is_socket(path, ignored)) fs::remove(path, ignored);
  FileDescriptor listener = makeSocket();
  FileDescriptor stopper(eventfd(0, EFD_CLOEXEC));
  // Made for its owner alone, under any umask.
  const mode_t mask = umask(S_IXUSR | S_IRWXG | S_IRWXO);
  const bool isBound =
      listener && stopper &&
      bind(listener.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
  umask(mask);
  if (!isBound || listen(listener.get(), kBacklog) != 0) return failure(path.string());
  try {
    return std::unique_ptr<StatusSocket>(new StatusSocket(
        path, std::move(listener), std::move(stopper), mainQueue, std::move(answer)));
  } catch (const std::system_error& error) {
    fs::remove(path, ignored);
    return Error(kDomain, error.code().value(), path.string() + ": " + error.what());
  }
}

StatusSocket::StatusSocket(fs::path path, FileDescriptor listener, FileDescriptor stopper,
                           DispatchQueue& mainQueue, Answer answer)
    : path_(std::move(path)),
      listener_(std::move(listener)),
      stopper_(std::move(stopper)),
      mainQueue_(mainQueue) {
  exchange_->answer = std::move(answer);
  thread_ = startThread("KSStatus", [this] { serve(); });
}

StatusSocket::~StatusSocket() {
  {
    const std::lock_guard lock(exchange_->mutex);
    exchange_->isStopping = true;
  }
  exchange_->changed.notify_all();
  const std::uint64_t one = 1;
  // An event counter at rest always takes one more.
  if (write(stopper_.get(), &one, sizeof one) < 0) std::abort();
  thread_.join();
  std::error_code ignored;
  fs::remove(path_, ignored);
}

void StatusSocket::serve() {
  pollfd descriptors[] = {{listener_.get(), POLLIN, 0}, {stopper_.get(), POLLIN, 0}};
  while (true) {
    if (poll(descriptors, std::size(descriptors), -1) < 0 && errno != EINTR) return;
    if (descriptors[1].revents != 0) return;
    if (descriptors[0].revents == 0) continue;
    const FileDescriptor caller(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (caller) send(caller.get(), reply(receive(caller.get())));
  }
}

std::string StatusSocket::reply(const std::string& request) {
  std::unique_lock lock(exchange_->mutex);
  const std::uint64_t number = ++exchange_->asked;
  mainQueue_.async([exchange = exchange_, number, request] {
    const std::lock_guard guard(exchange->mutex);
    if (exchange->isStopping) return;
    exchange->text = exchange->answer(request);
    exchange->answered = number;
    exchange->changed.notify_all();
  });
  exchange_->changed.wait_for(
      lock, kPatience, [&] { return exchange_->isStopping || exchange_->answered >= number; });
  if (exchange_->answered >= number) return exchange_->text;
  return R"({"well":false,"ailments":[{"reason":"stuck","text":"the service is busy or stuck",)"
         R"("mend":"restart it if this lasts"}]})"
         "\n";
}

Result<std::string> askService(const fs::path& path, const std::string& request) {
  const auto address = addressOf(path);
  const FileDescriptor socket = makeSocket();
  if (!address || !isConnected(socket, *address)) return failure("no service at " + path.string());
  send(socket.get(), request + "\n");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds{5};
  std::string text;
  char part[4096];
  while (text.size() <= kLongestReply) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd descriptor{socket.get(), POLLIN, 0};
    if (left.count() <= 0 || poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) {
      return Error(kDomain, ETIMEDOUT, "the service at " + path.string() + " does not answer");
    }
    const ssize_t got = read(socket.get(), part, sizeof part);
    if (got < 0) return failure("the service at " + path.string());
    if (got == 0) return text;
    text.append(part, static_cast<std::size_t>(got));
  }
  return Error(kDomain, EMSGSIZE, "the service at " + path.string() + " says too much");
}

Result<std::string> askEitherService(const std::string& state, const std::string& request) {
  auto reply = askService(statusSocketPath(state), request);
  if (reply || !state.empty()) return reply;
  auto machines = askService(kServiceSocket, request);
  return machines ? std::move(machines) : std::move(reply);
}

}  // namespace ks::tool
