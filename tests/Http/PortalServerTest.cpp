#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <future>

#include "tests/Http/HttpFixture.h"
#include "tools/ksbeacon/portal/PortalServer.h"

namespace ks::test {
namespace {

using portal::Fault;
using portal::FaultKind;
using portal::PortalOptions;
using portal::PortalServer;
using testing::HasSubstr;
using testing::Not;

/// A client that sends what it likes and reads until the other side is done.
class RawClient {
 public:
  RawClient() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  ~RawClient() { ::close(socket_); }

  bool connect(std::uint16_t port) const {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
  void send(const std::string& bytes) const {
    EXPECT_GT(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL), 0);
  }
  /// Until the connection ends, or `until` was read.
  std::string read(const std::string& until = "") const {
    std::string text;
    char bytes[4096];
    while (until.empty() || text.find(until) == std::string::npos) {
      pollfd ready{socket_, POLLIN, 0};
      if (::poll(&ready, 1, 20000) != 1) return text + "(nothing more came)";
      const auto count = ::read(socket_, bytes, sizeof bytes);
      if (count <= 0) break;
      text.append(bytes, static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int socket_;
};

class PortalServerTest : public HttpFixture {
 protected:
  PortalServerTest() {
    portalOptions.documents = folder.path();
    writeText(folder / "categories.json", R"([{"id": "1", "name": "News"}])");
  }
  void start() {
    auto started = PortalServer::start(portalOptions);
    ASSERT_TRUE(started) << started.error().localizedDescription();
    server = started.value();
  }
  const HttpExchange& get(const std::string& path) { return fetch(request(server->url() + path)); }

  PortalOptions portalOptions;
  std::shared_ptr<PortalServer> server;
};

TEST_F(PortalServerTest, ServesOverHttp) {
  std::vector<std::string> requests;
  portalOptions.onRequest = [&](const portal::PortalRequest& each) {
    requests.push_back(each.method + " " + each.target + " " + std::to_string(each.status));
  };
  start();
  EXPECT_EQ(get("/contents/categories?a=%20").status, 200);
  EXPECT_EQ(log->bodies.back(), R"([{"id":"1","name":"News"}])");
  auto head = request(server->url() + "/contents/categories");
  head.httpMethod = "HEAD";
  EXPECT_EQ(fetch(head).status, 200);
  EXPECT_EQ(log->bodies.back(), "");
  EXPECT_EQ(get("/nothing").status, 404);
  EXPECT_EQ(fetch(request("http://127.0.0.1:" + std::to_string(server->port()) + "/x")).status,
            404);
  auto post = request(server->url() + "/beacons/enter");
  post.httpMethod = "POST";
  post.httpBody = Data(1 << 20, 'x');
  EXPECT_EQ(fetch(post).status, 413);
  server->stop();
  EXPECT_NE(codeOf(get("/contents/categories")), 0);
  EXPECT_THAT(requests, testing::ElementsAre("GET /contents/categories?a=%20 200",
                                             "HEAD /contents/categories 200", "GET /nothing 404"));
}

TEST_F(PortalServerTest, FaultsOnRequest) {
  std::vector<int> statuses;
  portalOptions.onRequest = [&](const portal::PortalRequest& each) {
    statuses.push_back(each.status);
  };
  portalOptions.faults = {{.kind = FaultKind::status, .status = 503, .path = "/other"},
                          {.kind = FaultKind::status, .status = 401, .path = "", .count = 1}};
  start();
  const std::string document = R"([{"id":"1","name":"News"}])";
  const std::string path = "/contents/categories";
  EXPECT_EQ(get(path).status, 401);

  server->addFault({.kind = FaultKind::latency, .delay = Seconds{0.1}, .path = "", .count = 1});
  EXPECT_EQ(get(path).status, 200);
  EXPECT_EQ(log->bodies.back(), document);
  server->addFault({.kind = FaultKind::slowDrip, .delay = Seconds{0.01}, .path = "", .count = 1});
  EXPECT_EQ(get(path).status, 200);
  EXPECT_EQ(log->bodies.back(), document);
  // The client repeats a request whose connection was dropped while idle; hence more than one.
  server->addFault({.kind = FaultKind::droppedConnection, .path = ""});
  EXPECT_EQ(codeOf(get(path)), static_cast<std::int64_t>(NSURLError::networkConnectionLost));
  server->clearFaults();
  EXPECT_EQ(get(path).status, 200);
  server->stop();
  EXPECT_EQ(statuses.front(), 401);
  EXPECT_THAT(statuses, testing::Contains(0));
}

TEST_F(PortalServerTest, StopLosesNothing) {
  std::atomic<int> recorded = 0;
  portalOptions.onStatistic = [&](const portal::PortalStatistic&) { ++recorded; };
  portalOptions.statisticsFile = folder / "events";
  portalOptions.faults = {{.kind = FaultKind::latency, .delay = Seconds{60}, .path = ""}};
  start();
  auto post = request(server->url() + "/geofences/enter");
  post.httpMethod = "POST";
  const std::string body = R"({"geofenceId": "g", "timestamp": "2018-05-04T14:03:27+0200"})";
  post.httpBody = Data(body.begin(), body.end());
  download(post);
  while (recorded == 0) std::this_thread::yield();
  server->stop();
  server->stop();
  runUntilEnded(1);
  EXPECT_EQ(log->exchanges[0].status, 204);
  EXPECT_THAT(readText(folder / "events"), testing::HasSubstr("\"geofenceId\":\"g\""));
}

TEST_F(PortalServerTest, StopCutsOffWhatDrips) {
  portalOptions.faults = {{.kind = FaultKind::slowDrip, .delay = Seconds{60}, .path = ""}};
  std::atomic<bool> requested = false;
  portalOptions.onRequest = [&](const portal::PortalRequest&) { requested = true; };
  start();
  download(request(server->url() + "/contents/categories"));
  while (!requested) std::this_thread::yield();
  server.reset();
  runUntilEnded(1);
  EXPECT_EQ(codeOf(log->exchanges[0]),
            static_cast<std::int64_t>(NSURLError::networkConnectionLost));
}

TEST_F(PortalServerTest, HalfSentRequestsGiveWay) {
  portalOptions.maximumConnections = 4;
  portalOptions.requestTime = Seconds{0.2};
  start();
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 20; ++i) {
    clients.push_back(std::make_unique<RawClient>());
    ASSERT_TRUE(clients.back()->connect(server->port()));
    clients.back()->send("GET /app/locations HTTP/1.1\r\nHost: local");
  }
  EXPECT_EQ(get("/contents/categories").status, 200);
  // The first ones made room, the last ones took too long.
  for (const auto& client : clients) EXPECT_THAT(client->read(), Not(HasSubstr("nothing more")));
}

TEST_F(PortalServerTest, ListensOnWhenDescriptorsRanOut) {
  std::promise<std::string> told;
  portalOptions.onMessage = [&](const std::string& message) { told.set_value(message); };
  start();
  const RawClient client;
  rlimit usual = {};
  getrlimit(RLIMIT_NOFILE, &usual);
  rlimit few = usual;
  few.rlim_cur = 64;
  setrlimit(RLIMIT_NOFILE, &few);
  std::vector<int> taken;
  for (int each = 0; (each = ::dup(STDOUT_FILENO)) >= 0;) taken.push_back(each);
  const bool isConnected = client.connect(server->port());
  const std::string message = told.get_future().get();
  setrlimit(RLIMIT_NOFILE, &usual);
  for (const int each : taken) ::close(each);
  // Only now: the sanitizers' checks of types need descriptors of their own.
  EXPECT_TRUE(isConnected);
  EXPECT_THAT(message, HasSubstr("cannot take connections"));
  // The connection lives on after each reply.
  for (int i = 0; i < 2; ++i) {
    client.send("GET /app/contents/categories HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(client.read("News\"}]"), HasSubstr(" 200 "));
  }
}

TEST_F(PortalServerTest, RefusesForeignHostsAndPages) {
  portalOptions.hostNames = {"Kiosk.example"};
  start();
  const struct {
    const char *host, *origin, *status;
  } cases[] = {
      {"127.0.0.1", "", " 200 "},
      {"[::1]:80", "", " 200 "},
      {"LOCALHOST:1", "http://localhost:1", " 200 "},
      {"kiosk.EXAMPLE:8080", "", " 200 "},
      {"attacker.example", "", " 403 "},
      {"127.0.0.1.attacker.example", "", " 403 "},
      {"localhost:1", "http://localhost:2", " 403 "},
      {"127.0.0.1", "https://attacker.example", " 403 "},
      {"127.0.0.1", "null", " 403 "},
  };
  for (const auto& each : cases) {
    const RawClient client;
    ASSERT_TRUE(client.connect(server->port()));
    const std::string origin = *each.origin ? std::string("Origin: ") + each.origin + "\r\n" : "";
    client.send("GET /app/contents/categories HTTP/1.1\r\nConnection: close\r\nHost: " +
                std::string(each.host) + "\r\n" + origin + "\r\n");
    EXPECT_THAT(client.read(), HasSubstr(each.status)) << each.host << " " << each.origin;
  }
}

TEST_F(PortalServerTest, StartTellsWhatIsWrong) {
  start();
  const auto fails = [&](const PortalOptions& options) {
    const auto started = PortalServer::start(options);
    return started ? "" : started.error().localizedDescription();
  };
  auto taken = portalOptions;
  taken.port = server->port();
  EXPECT_THAT(fails(taken), testing::HasSubstr(std::to_string(taken.port)));
  auto address = portalOptions;
  address.address = "example";
  EXPECT_THAT(fails(address), testing::HasSubstr("not an IP address"));
  auto certificate = portalOptions;
  certificate.tlsCertificate = folder / "none";
  certificate.tlsKey = folder / "none";
  EXPECT_THAT(fails(certificate), testing::HasSubstr("certificate"));
}

/// Serves with one certificate, trusts another, and answers the error code of a request.
class CertificateTest : public PortalServerTest {
 protected:
  bool makeCertificate(const std::string& name, const std::string& subject) const {
    const std::string base = (folder / name).string();
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj "
        "/CN=test -addext subjectAltName=" +
        subject + " -keyout " + base + ".key -out " + base + ".crt 2>/dev/null";
    return std::system(command.c_str()) == 0;
  }
  std::string publicKeyPin(const std::string& name) const {
    const std::string command = "openssl pkey -in " + (folder / (name + ".key")).string() +
                                " -pubout -outform der | openssl sha256 -binary | base64 >" +
                                (folder / "pin").string();
    EXPECT_EQ(std::system(command.c_str()), 0);
    const std::string digest = readText(folder / "pin");
    return "sha256//" + digest.substr(0, digest.find('\n'));
  }
  std::int64_t code(const std::string& served, const std::string& trusted) {
    portalOptions.tlsCertificate = folder / (served + ".crt");
    portalOptions.tlsKey = folder / (served + ".key");
    options.additionalCertificateAuthorities = folder / (trusted + ".crt");
    session.reset();
    makeSystem();
    start();
    EXPECT_THAT(server->url(), testing::StartsWith("https://"));
    return codeOf(get("/contents/categories"));
  }
};

// In a process of its own that ends without the leak check: LeakSanitizer cannot walk the
// thread-local memory of the TLS module, which is loaded late.
TEST_F(CertificateTest, ServersAreVerified) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  constexpr auto kUntrusted = static_cast<std::int64_t>(NSURLError::serverCertificateUntrusted);
  const auto verify = [&] {
    EXPECT_TRUE(makeCertificate("mine", "IP:127.0.0.1"));
    EXPECT_TRUE(makeCertificate("other", "IP:127.0.0.1"));
    EXPECT_TRUE(makeCertificate("elsewhere", "DNS:elsewhere.example"));
    portalOptions.tlsCertificate = folder / "mine.crt";
    portalOptions.tlsKey = folder / "other.key";
    const auto started = PortalServer::start(portalOptions);
    if (started) std::_Exit(2);
    EXPECT_THAT(started.error().localizedDescription(), testing::HasSubstr("not the key of"));
    EXPECT_EQ(code("mine", "mine"), 0);
    EXPECT_EQ(code("mine", "missing"), kUntrusted);
    EXPECT_EQ(code("mine", "other"), kUntrusted);
    EXPECT_EQ(code("elsewhere", "elsewhere"), kUntrusted);
    options.publicKeyPins["127.0.0.1"] = publicKeyPin("mine");
    EXPECT_EQ(code("mine", "mine"), 0);
    EXPECT_EQ(code("other", "other"), kUntrusted);
    server.reset();
    system.reset();
    std::filesystem::remove_all(folder.path());
    std::_Exit(HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(verify(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace ks::test
