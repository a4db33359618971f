#include <gmock/gmock.h>

#include <cstdio>

#include "tests/Http/HttpFixture.h"
#include "tests/Http/LoopbackServer.h"

namespace ks::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using Then = RawReply::Then;

class HttpFaultsTest : public HttpFixture {
 protected:
  HttpFaultsTest() {
    setTimeouts(20, 20);
    options.maximumBodySize = 100'000;
  }
  void setTimeouts(double request, double resource) {
    configuration.timeoutIntervalForRequest = Seconds{request};
    configuration.timeoutIntervalForResource = Seconds{resource};
    session.reset();
  }
};

/// So many zero bytes in about a thousandth of their size.
std::string gzipBomb(std::size_t size) {
  const std::string command = "head -c " + std::to_string(size) + " /dev/zero | gzip";
  FILE* const pipe = popen(command.c_str(), "r");
  std::string bytes(size, '\0');
  bytes.resize(std::fread(bytes.data(), 1, size, pipe));
  EXPECT_EQ(pclose(pipe), 0);
  return bytes;
}

struct FaultCase {
  const char* name;
  RawReply reply;
  NSURLError code;
};

TEST_F(HttpFaultsTest, FaultyRepliesFailOnce) {
  const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::string megabyte(1 << 20, 'x');
  const std::string gzip = "Content-Encoding: gzip\r\n";
  const FaultCase cases[] = {
      {"dropped", {"", Then::close}, NSURLError::networkConnectionLost},
      {"head cut", {"HTTP/1.1 200 OK\r\nConte", Then::close}, NSURLError::badServerResponse},
      {"body cut",
       {"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", Then::close},
       NSURLError::networkConnectionLost},
      {"closing body cut",
       {"HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 10\r\n\r\nhalf", Then::close},
       NSURLError::networkConnectionLost},
      {"gzip cut",
       {"HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Encoding: gzip\r\nContent-Length: "
        "1000\r\n\r\n" +
            gzipBomb(megabyte.size()).substr(0, 40),
        Then::close},
       NSURLError::networkConnectionLost},
      {"chunk cut", {chunked + "a\r\nhalf", Then::close}, NSURLError::networkConnectionLost},
      {"no HTTP", {"SSH-2.0-server\r\n\r\n", Then::close}, NSURLError::badServerResponse},
      {"silent", {"", Then::hang}, NSURLError::timedOut},
      {"silent in the body",
       {"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", Then::hang},
       NSURLError::timedOut},
      {"announced too long", {httpReply(megabyte)}, NSURLError::dataLengthExceedsMaximum},
      {"endless",
       {chunked, Then::close, "1000\r\n" + std::string(4096, 'x') + "\r\n"},
       NSURLError::dataLengthExceedsMaximum},
      {"bomb", {httpReply(gzipBomb(megabyte.size()), gzip)}, NSURLError::dataLengthExceedsMaximum},
      {"redirect loop", {httpReply("", "Location: /x\r\n", 302)}, NSURLError::badServerResponse},
      {"redirect to a file",
       {httpReply("", "Location: file:///etc/passwd\r\n", 302)},
       NSURLError::badServerResponse},
      {"redirect to ftp",
       {httpReply("", "Location: ftp://127.0.0.1/\r\n", 301)},
       NSURLError::unsupportedURL},
  };
  for (const auto& each : cases) {
    LoopbackServer server([&](auto&) { return each.reply; });
    log->events.clear();
    setTimeouts(each.code == NSURLError::timedOut ? 0.3 : 20, 20);
    const auto code = codeOf(fetch(request(server.url("/x"))));
    EXPECT_EQ(code, static_cast<std::int64_t>(each.code)) << each.name;
    EXPECT_THAT(log->events, ElementsAre("complete /x " + std::to_string(code), "finished"))
        << each.name;
    EXPECT_TRUE(nothingIsLeft()) << each.name;
  }
}

TEST_F(HttpFaultsTest, SteadyDripEndsAtResourceTimeout) {
  setTimeouts(20, 0.6);
  LoopbackServer server([](auto&) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return RawReply{httpReply("", "Location: /x\r\n", 302)};
  });
  EXPECT_EQ(codeOf(fetch(request(server.url("/x")))),
            static_cast<std::int64_t>(NSURLError::timedOut));
  EXPECT_GE(server.requests().size(), 2U);
}

TEST_F(HttpFaultsTest, WaitingCountsTowardsResourceTimeout) {
  setTimeouts(20, 0.5);
  LoopbackServer server([](auto&) { return RawReply{"", Then::hang}; });
  for (int i = 0; i < 3; ++i) download(request(server.url("/x")));
  runUntilEnded(3);
  EXPECT_THAT(server.requests(), SizeIs(1)) << "the others ended while they waited";
  EXPECT_EQ(log->exchanges.back().error->code(), static_cast<std::int64_t>(NSURLError::timedOut));
}

TEST_F(HttpFaultsTest, FailedTransferLeavesRoomForNext) {
  setTimeouts(1, 20);
  LoopbackServer server([](auto& request) {
    return request.target == "/good" ? RawReply{httpReply("ok")} : RawReply{"", Then::hang};
  });
  download(request(server.url("/bad")));
  download(request(server.url("/good")));
  download(request("http://127.0.0.1:1/refused"));
  runUntilEnded(3);
  EXPECT_THAT(log->events,
              testing::UnorderedElementsAre("complete /refused -1004", "complete /bad -1001",
                                            "file /good 200", "complete /good 0", "finished"));
}

struct RedirectCase {
  int status;
  const char* method;
  const char* expected;
};

TEST_F(HttpFaultsTest, RedirectsFollowTheMethodRules) {
  const RedirectCase cases[] = {{301, "GET", "GET"},        {301, "POST", "GET"},
                                {302, "POST", "GET"},       {303, "POST", "GET"},
                                {307, "POST", "POST body"}, {308, "POST", "POST body"},
                                {303, "HEAD", "HEAD"}};
  for (const auto& each : cases) {
    LoopbackServer server([&](auto& request) {
      const bool first = request.target == "/from";
      return RawReply{first ? httpReply("moved", "Location: to\r\n", each.status)
                            : "HTTP/1.1 204 No Content\r\n\r\n"};
    });
    auto first = request(server.url("/from"));
    first.httpMethod = each.method;
    if (first.httpMethod == "POST") first.httpBody = {'b', 'o', 'd', 'y'};
    EXPECT_EQ(codeOf(fetch(first)), 0);
    const auto last = server.requests().back();
    EXPECT_EQ(last.target, "/to");
    EXPECT_EQ(last.method + (last.body.empty() ? "" : " " + last.body), each.expected)
        << each.status;
  }
}

TEST_F(HttpFaultsTest, CredentialsStayWithTheirOrigin) {
  LoopbackServer other([](auto& request) {
    return RawReply{request.target == "/away" ? httpReply("", "Location: /end\r\n", 302)
                                              : httpReply("end")};
  });
  LoopbackServer server([&](auto& request) {
    const std::string to = request.target == "/near" ? "/here" : other.url("/away");
    return RawReply{
        request.target == "/here"
            ? httpReply("here")
            : httpReply("", "Location: " + to + "\r\nCache-Control: no-cache\r\n", 307)};
  });
  configuration.httpAdditionalHeaders.set("Authorization", "Basic secret");
  configuration.httpAdditionalHeaders.set("X-Kept", "yes");
  fetch(request(server.url("/near")));
  EXPECT_EQ(server.requests().back().field("Authorization"), "Basic secret");

  fetch(request(server.url("/far")));
  ASSERT_EQ(other.requests().size(), 2U);
  for (const auto& seen : other.requests()) {
    EXPECT_EQ(seen.field("Authorization"), "") << seen.head;
    EXPECT_EQ(seen.field("X-Kept"), "yes");
  }
  EXPECT_EQ(log->bodies.back(), "end");
}

}  // namespace
}  // namespace ks::test
