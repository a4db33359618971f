#include <gmock/gmock.h>

#include "tests/Http/HttpFixture.h"
#include "tests/Http/LoopbackServer.h"

namespace ks::test {
namespace {

using Then = RawReply::Then;

class HttpCacheTest : public HttpFixture {
 protected:
  HttpCacheTest() {
    configuration.urlCache = {16384, 1 << 20, folder / "cache"};
    configuration.httpAdditionalHeaders.set("Authorization", "Basic secret");
  }
  void restart() {
    session.reset();
    system.reset();
    queue = std::make_shared<HandQueue>();
  }

  /// A document with the entity tag "a1", which must be asked for each time.
  LoopbackServer tagged{[](auto& request) {
    const std::string fields = "ETag: \"a1\"\r\nCache-Control: max-age=0\r\n";
    if (request.field("If-None-Match") != "\"a1\"") return RawReply{httpReply("tagged", fields)};
    return RawReply{"HTTP/1.1 304 Not Modified\r\n" + fields + "\r\n"};
  }};
};

TEST_F(HttpCacheTest, RevalidatesByEntityTagAcrossRestarts) {
  EXPECT_FALSE(fetch(request(tagged.url("/a"))).fromCache);
  for (int round = 0; round < 4; ++round) {
    if (round % 2 == 1) restart();
    const auto exchange = fetch(request(tagged.url("/a")));
    EXPECT_TRUE(exchange.fromCache) << round;
    EXPECT_EQ(exchange.status, 200);
    EXPECT_EQ(log->bodies.back(), "tagged");
    const auto seen = tagged.requests().back();
    EXPECT_EQ(seen.field("If-None-Match"), "\"a1\"");
    EXPECT_EQ(seen.field("Authorization"), "Basic secret");
  }
  EXPECT_EQ(tagged.requests().size(), 5U);
}

TEST_F(HttpCacheTest, DamagedCacheCountsAsEmpty) {
  fetch(request(tagged.url("/a")));
  restart();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "cache")) {
    if (entry.is_regular_file()) writeText(entry.path(), std::string(100, '\xff'));
  }
  EXPECT_EQ(codeOf(fetch(request(tagged.url("/a")))), 0);
  EXPECT_EQ(log->bodies.back(), "tagged");
}

TEST_F(HttpCacheTest, BodiesCutShortAreNotKept) {
  const std::string fields = "ETag: \"a1\"\r\nConnection: close\r\n";
  const std::string body(90'000, 'x');
  const std::string replies[] = {httpReply(body, fields),
                                 "HTTP/1.1 200 OK\r\n" + fields +
                                     "Transfer-Encoding: chunked\r\n\r\n15f90\r\n" + body +
                                     "\r\n0\r\n\r\n"};
  for (const std::string& reply : replies) {
    std::atomic<bool> isWhole = false;
    LoopbackServer server([&](auto&) {
      return RawReply{isWhole ? reply : reply.substr(0, reply.size() - 5), Then::close};
    });
    EXPECT_NE(codeOf(fetch(request(server.url("/a")))), 0);
    isWhole = true;
    EXPECT_EQ(codeOf(fetch(request(server.url("/a")))), 0);
    EXPECT_EQ(server.requests().back().field("If-None-Match"), "");
    EXPECT_EQ(log->bodies.back(), body);
  }
}

TEST_F(HttpCacheTest, SessionsDoNotShareFolders) {
  fetch(request(tagged.url("/a")));
  const auto first = std::exchange(session, nullptr);
  fetch(request(tagged.url("/a")));
  EXPECT_FALSE(log->exchanges.back().fromCache);
  int folders = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "cache")) {
    folders += entry.is_directory() ? 1 : 0;
  }
  EXPECT_EQ(folders, 2);
}

TEST_F(HttpCacheTest, DiskCapacityIsRespected) {
  LoopbackServer server([](auto&) {
    return RawReply{httpReply(std::string(5000, 'x'), "Cache-Control: max-age=1000\r\n")};
  });
  configuration.urlCache.diskCapacity = 60'000;
  for (int i = 0; i < 30; ++i) fetch(request(server.url("/" + std::to_string(i))));
  restart();
  std::uintmax_t size = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "cache")) {
    if (entry.is_regular_file()) size += entry.file_size();
  }
  EXPECT_GT(size, 5'000U);
  EXPECT_LT(size, 70'000U);
}

TEST_F(HttpCacheTest, RevalidationTakesNoCredentialsAway) {
  LoopbackServer other([](auto&) { return RawReply{httpReply("other")}; });
  LoopbackServer server([&](auto& request) {
    if (request.field("If-None-Match").empty()) {
      return RawReply{httpReply("mine", "ETag: \"a1\"\r\nCache-Control: max-age=0\r\n")};
    }
    return RawReply{httpReply("", "Location: " + other.url("/x") + "\r\n", 302)};
  });
  fetch(request(server.url("/a")));
  fetch(request(server.url("/a")));
  for (const auto& seen : other.requests()) EXPECT_EQ(seen.field("Authorization"), "");
  EXPECT_EQ(codeOf(log->exchanges.back()), 0);
}

}  // namespace
}  // namespace ks::test
