#include "tests/Http/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace ks::test {

namespace {

bool waitReadable(int descriptor) {
  pollfd entry{descriptor, POLLIN, 0};
  return ::poll(&entry, 1, 20) > 0;
}

bool sendAll(int connection, const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const auto count = ::send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

std::string RawRequest::field(const std::string& name) const {
  std::istringstream in(head);
  for (std::string line; std::getline(in, line);) {
    if (::strncasecmp(line.c_str(), (name + ": ").c_str(), name.size() + 2) != 0) continue;
    return line.substr(name.size() + 2, line.find('\r') - name.size() - 2);
  }
  return "";
}

std::string httpReply(const std::string& body, const std::string& fields, int status) {
  return "HTTP/1.1 " + std::to_string(status) + " OK\r\n" + fields +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

LoopbackServer::LoopbackServer(Handler handler)
    : handler_(std::move(handler)), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (::bind(listener_, any, length) != 0 || ::listen(listener_, 64) != 0 ||
      ::getsockname(listener_, any, &length) != 0) {
    throw std::runtime_error("cannot listen on loopback");
  }
  port_ = ntohs(address.sin_port);
  accepting_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
  stopping_ = true;
  accepting_.join();
  for (auto& connection : threads_) connection.join();
  ::close(listener_);
}

std::string LoopbackServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<RawRequest> LoopbackServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

int LoopbackServer::mostConnectionsAtOnce() const {
  std::lock_guard lock(mutex_);
  return mostOpen_;
}

int LoopbackServer::connections() const {
  std::lock_guard lock(mutex_);
  return opened_;
}

void LoopbackServer::accept() {
  while (!stopping_) {
    if (!waitReadable(listener_)) continue;
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) threads_.emplace_back([this, connection] { serve(connection); });
  }
}

void LoopbackServer::serve(int connection) {
  {
    std::lock_guard lock(mutex_);
    ++opened_;
    mostOpen_ = std::max(mostOpen_, ++open_);
  }
  std::string buffer;
  RawRequest request;
  while (readRequest(connection, buffer, request)) {
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    const RawReply reply = handler_(request);
    bool isOpen = sendAll(connection, reply.bytes);
    while (isOpen && !reply.repeated.empty() && !stopping_) {
      isOpen = sendAll(connection, reply.repeated);
    }
    while (reply.then == RawReply::Then::hang && !stopping_) {
      char byte = 0;
      if (waitReadable(connection) && ::recv(connection, &byte, 1, 0) <= 0) break;
    }
    if (!isOpen || reply.then != RawReply::Then::keepOpen) break;
  }
  // Counted before the client can see the end, so that its next connection is not counted beside.
  {
    std::lock_guard lock(mutex_);
    --open_;
  }
  ::close(connection);
}

bool LoopbackServer::readRequest(int connection, std::string& buffer, RawRequest& request) const {
  std::optional<std::size_t> length;
  while (!stopping_) {
    const auto end = buffer.find("\r\n\r\n");
    if (end != std::string::npos) {
      request.head = buffer.substr(0, end + 2);
      const std::string declared = request.field("Content-Length");
      length = declared.empty() ? 0 : std::stoul(declared);
      if (buffer.size() >= end + 4 + *length) {
        request.body = buffer.substr(end + 4, *length);
        std::istringstream(request.head) >> request.method >> request.target;
        buffer.erase(0, end + 4 + *length);
        return true;
      }
    }
    char bytes[65536];
    if (!waitReadable(connection)) continue;
    const auto count = ::recv(connection, bytes, sizeof(bytes), 0);
    if (count <= 0) return false;
    buffer.append(bytes, static_cast<std::size_t>(count));
  }
  return false;
}

}  // namespace ks::test
