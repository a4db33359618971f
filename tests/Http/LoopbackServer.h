#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ks::test {

struct RawRequest {
  /// The request line and fields as they came over the wire.
  std::string head;
  std::string body;
  /// The first two words of the head.
  std::string method;
  std::string target;

  /// The value of the field, "" when missing.
  std::string field(const std::string& name) const;
};

struct RawReply {
  std::string bytes;
  /// What follows once the bytes are sent.
  enum class Then { keepOpen, close, hang };
  Then then = Then::keepOpen;
  /// Sent again and again after `bytes` until the client goes; empty: nothing.
  std::string repeated = {};
};

/// "HTTP/1.1 STATUS OK", the fields, the body's length, the body.
std::string httpReply(const std::string& body, const std::string& fields = "", int status = 200);

/// A server that sends exactly the bytes it is told to, faulty ones included. Replies are decided
/// by a function that runs on the connections' threads.
class LoopbackServer {
 public:
  using Handler = std::function<RawReply(const RawRequest&)>;

  explicit LoopbackServer(Handler handler);
  ~LoopbackServer();

  std::string url(const std::string& path = "") const;
  std::vector<RawRequest> requests() const;
  int mostConnectionsAtOnce() const;
  /// Connections since the start.
  int connections() const;

 private:
  void accept();
  void serve(int connection);
  bool readRequest(int connection, std::string& buffer, RawRequest& request) const;

  const Handler handler_;
  int listener_;
  std::uint16_t port_ = 0;
  std::atomic<bool> stopping_ = false;
  mutable std::mutex mutex_;
  std::vector<RawRequest> requests_;
  int open_ = 0;
  int mostOpen_ = 0;
  int opened_ = 0;
  std::list<std::thread> threads_;
  std::thread accepting_;
};

}  // namespace ks::test
