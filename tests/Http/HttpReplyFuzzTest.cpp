#include <gmock/gmock.h>

#include <cstdlib>
#include <random>

#include "tests/Http/HttpFixture.h"
#include "tests/Http/LoopbackServer.h"

namespace ks::test {
namespace {

using Then = RawReply::Then;

/// `KS_FUZZED_REPLIES` in the environment, for long runs.
int repliesToTry() {
  const char* wanted = std::getenv("KS_FUZZED_REPLIES");
  return wanted != nullptr ? std::atoi(wanted) : 200;
}

/// Replies of every kind, damaged at random but the same way in each run.
class FuzzedReplies {
 public:
  RawReply next() {
    std::string bytes = kWhole[random_() % std::size(kWhole)];
    for (auto rounds = random_() % 4; rounds > 0; --rounds) damage(bytes);
    constexpr Then kThen[] = {Then::close, Then::close, Then::close, Then::keepOpen};
    return {bytes, kThen[random_() % std::size(kThen)]};
  }

 private:
  void damage(std::string& bytes) {
    const std::size_t at = bytes.empty() ? 0 : random_() % bytes.size();
    switch (random_() % 5) {
      case 0:
        if (!bytes.empty()) bytes[at] = static_cast<char>(random_());
        return;
      case 1:
        bytes.erase(at, 1 + random_() % 20);
        return;
      case 2:
        bytes.insert(at, bytes.substr(at, random_() % 40));
        return;
      case 3:
        bytes.resize(at);
        return;
      default:
        bytes.insert(at, kPieces[random_() % std::size(kPieces)]);
    }
  }

  static inline const std::string kWhole[] = {
      httpReply("[1,2,3]", "Cache-Control: max-age=9\r\nETag: \"a\"\r\n"),
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\n[1]\r\n0\r\nX: y\r\n\r\n",
      "HTTP/1.1 200 OK\r\nConnection: close\r\nETag: W/\"b\"\r\n\r\n[1]",
      "HTTP/1.1 304 Not Modified\r\nETag: \"a\"\r\n\r\n",
      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 204 No Content\r\n\r\n",
      "HTTP/1.1 301 Moved\r\nLocation: again\r\nContent-Length: 0\r\n\r\n",
      httpReply("no gzip at all", "Content-Encoding: gzip\r\n"),
      httpReply("{}", "WWW-Authenticate: Basic realm=\"x\"\r\n", 401)};
  static inline const std::string kPieces[] = {"\r\n",
                                               "\r\n\r\n",
                                               "Content-Length: -1\r\n",
                                               "Content-Length: 18446744073709551616\r\n",
                                               "Transfer-Encoding: gzip, chunked\r\n",
                                               "ffffffffffffffff\r\n",
                                               "HTTP/1.1 101 Up\r\n\r\n",
                                               "Vary: ,,\"\r\n",
                                               "Cache-Control: max-age=\",=\r\n",
                                               "Age: 1e9\r\n",
                                               std::string(9000, 'a'),
                                               std::string("\0", 1)};
  std::mt19937 random_{20260101};
};

using HttpReplyFuzzTest = HttpFixture;

TEST_F(HttpReplyFuzzTest, EveryTransferEndsInTime) {
  constexpr Seconds kResourceTimeout{1};
  configuration.urlCache = {0, 1 << 20, folder / "cache"};
  configuration.timeoutIntervalForRequest = Seconds{0.1};
  configuration.timeoutIntervalForResource = kResourceTimeout;
  FuzzedReplies replies;
  std::map<std::int64_t, int> ends;
  Seconds longest{0};
  for (int left = repliesToTry(); left > 0; left -= 100) {
    LoopbackServer server([&](auto&) { return replies.next(); });
    for (int i = 0; i < std::min(left, 100); ++i) {
      const auto start = std::chrono::steady_clock::now();
      // Few addresses, so that documents are stored and confirmed.
      const auto& exchange = fetch(request(server.url("/" + std::to_string(i % 5))));
      longest = std::max<Seconds>(longest, std::chrono::steady_clock::now() - start);
      ++ends[exchange.error ? exchange.error->code() : *exchange.status];
      ASSERT_TRUE(nothingIsLeft());
    }
  }
  // The worker is as it was; a busy machine gets its time.
  LoopbackServer good([](auto&) { return RawReply{httpReply("good")}; });
  configuration.timeoutIntervalForRequest = configuration.timeoutIntervalForResource = Seconds{60};
  makeSession();
  EXPECT_EQ(codeOf(fetch(request(good.url("/")))), 0);
  // A busy machine may be late, but no transfer hangs.
  EXPECT_LT(longest, kResourceTimeout + Seconds{10});
  for (const auto& [code, count] : ends) {
    RecordProperty("ended with " + std::to_string(code), count);
  }
  RecordProperty("longest, ms", static_cast<int>(longest.count() * 1000));
}

}  // namespace
}  // namespace ks::test
