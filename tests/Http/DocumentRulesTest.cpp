#include <gmock/gmock.h>

#include "tests/Http/HttpFixture.h"
#include "tests/Http/LoopbackServer.h"

namespace ks::test {
namespace {

using Then = RawReply::Then;

class HandClock final : public Clock {
 public:
  Date now() const override { return kStart + elapsed; }
  Seconds uptime() const override { return elapsed; }
  static constexpr Date kStart{Seconds{1767254400}};
  Seconds elapsed{0};
};

/// A session on a clock of its own in front of a server whose documents say how they may be kept.
class DocumentRulesTest : public HttpFixture {
 protected:
  DocumentRulesTest() {
    configuration.urlCache = {0, 1 << 20, folder / "cache"};
    options.clock = &clock;
  }
  /// "served" without asking, "confirmed" by the server, or "fetched" anew.
  std::string second(const std::string& fields, double after) {
    kept = fields;
    const std::string path = "/beacons?n=" + std::to_string(++documents);
    fetch(request(server.url(path)));
    clock.elapsed += Seconds{after};
    return get(path);
  }
  std::string get(const std::string& path) {
    const std::size_t before = server.requests().size();
    const auto& exchange = fetch(request(server.url(path)));
    EXPECT_EQ(codeOf(exchange), 0);
    EXPECT_EQ(log->bodies.back(), document + path);
    if (server.requests().size() == before) return "served";
    return exchange.fromCache ? "confirmed" : "fetched";
  }
  void logIn(const std::string& user, const std::string& language) {
    session.reset();
    configuration.httpAdditionalHeaders.set("Authorization", user);
    configuration.httpAdditionalHeaders.set("Accept-Language", language);
  }

  HandClock clock;
  std::string kept;
  std::string document = "whole text of ";
  int documents = 0;
  LoopbackServer server{[this](auto& request) {
    const bool same =
        !request.field("If-None-Match").empty() || !request.field("If-Modified-Since").empty();
    if (same) return RawReply{"HTTP/1.1 304 Not Modified\r\n" + kept + "\r\n"};
    return RawReply{httpReply(document + request.target, kept)};
  }};
};

TEST_F(DocumentRulesTest, FieldsDecide) {
  const std::string tag = "ETag: \"a\"\r\n";
  const std::string year = "Sun, 06 Nov 1994 08:49:37 GMT\r\n";
  const std::tuple<std::string, double, const char*> rows[] = {
      {"Cache-Control: max-age=100\r\n", 99, "served"},
      {"Cache-Control: max-age=100\r\n", 101, "fetched"},
      {"Cache-Control: max-age=100\r\n", -5, "fetched"},
      {"Cache-Control: max-age=100\r\nDate: " + year, 99, "served"},
      {"Cache-Control: private, max-age=\"100\"\r\nAge: 60\r\n", 39, "served"},
      {"Cache-Control: max-age=100\r\nAge: 60\r\n" + tag, 41, "confirmed"},
      {"Cache-Control: max-age=99999999999999999999\r\n", 1e6, "served"},
      {"Cache-Control: max-age=soon\r\n" + tag, 0, "confirmed"},
      {"Cache-Control: s-maxage=100\r\n" + tag, 1, "confirmed"},
      {"Cache-Control: max-age=5, must-revalidate\r\n" + tag, 4, "served"},
      {"Cache-Control: max-age=5, must-revalidate\r\n" + tag, 6, "confirmed"},
      {"Expires: Sun, 06 Nov 1994 08:51:17 GMT\r\nDate: " + year, 99, "served"},
      {"Expires: Sun, 06 Nov 1994 08:51:17 GMT\r\n" + tag + "Date: " + year, 101, "confirmed"},
      {"Expires: Thu, 01 Jan 2026 08:01:00 GMT\r\n", 0, "fetched"},
      {"Expires: Fri, 01 Jan 2049 08:00:00 GMT\r\n", 59, "served"},
      {"Expires: 0\r\n" + tag, 0, "confirmed"},
      {"Expires: Fri, 01 Jan 2049 08:00:00 GMT\r\nCache-Control: max-age=1\r\n", 2, "fetched"},
      {"Cache-Control: no-store, max-age=100\r\n" + tag, 1, "fetched"},
      {"Cache-Control: no-cache, max-age=100\r\n" + tag, 1, "confirmed"},
      {tag, 1, "confirmed"},
      {"Last-Modified: " + year, 1, "confirmed"},
      {"", 1, "fetched"},
      {"Vary: *\r\n" + tag, 1, "fetched"},
      {"Vary: accept-language, X-A\r\nCache-Control: max-age=100\r\n", 1, "served"},
  };
  for (const auto& [fields, after, expected] : rows) {
    EXPECT_EQ(second(fields, after), expected) << fields << " after " << after;
    clock.elapsed += Seconds{1000};
  }
}

TEST_F(DocumentRulesTest, ConfirmationRenewsFreshness) {
  EXPECT_EQ(second("Cache-Control: max-age=10\r\nETag: \"a\"\r\n", 11), "confirmed");
  clock.elapsed += Seconds{9};
  EXPECT_EQ(get("/beacons?n=1"), "served");
}

TEST_F(DocumentRulesTest, UsersLanguagesAndVariantsKeepApart) {
  kept = "Cache-Control: max-age=1000\r\nVary: X-Shape\r\n";
  const auto as = [&](const char* user, const char* language) {
    logIn(user, language);
    return get("/a");
  };
  EXPECT_EQ(as("Basic one", "it-it"), "fetched");
  EXPECT_EQ(as("Basic two", "it-it"), "fetched");
  EXPECT_EQ(as("Basic one", "de-de"), "fetched");
  EXPECT_EQ(as("Basic one", "it-it"), "served");
  EXPECT_EQ(as("Basic two", "it-it"), "served");
  configuration.httpAdditionalHeaders.set("X-Shape", "round");
  EXPECT_EQ(as("Basic two", "it-it"), "fetched");
}

TEST_F(DocumentRulesTest, DamagedDocumentsCountAsAbsent) {
  const std::string path = "/beacons?n=1";
  ASSERT_EQ(second("Cache-Control: max-age=1000\r\nETag: \"a\"\r\n", 1), "served");
  std::filesystem::path file;
  for (const auto& each : std::filesystem::recursive_directory_iterator(folder / "cache")) {
    if (each.path().filename().string().size() == 64) file = each.path();
  }
  const std::string whole = readText(file);
  for (std::size_t at = 0; at < whole.size(); at += 7) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    writeText(file, damaged);
    EXPECT_EQ(get(path), "fetched") << "byte " << at;
  }
  for (const std::string& damaged : {whole.substr(0, whole.size() - 1), whole + "x", std::string(),
                                     "KSDocument1 99999999999999999999 x\n" + whole}) {
    writeText(file, damaged);
    EXPECT_EQ(get(path), "fetched");
  }
  EXPECT_EQ(get(path), "served");
}

TEST_F(DocumentRulesTest, OnlyUsableDocumentsStay) {
  struct Parser : EventLog {
    bool willCacheResponse(NSURLSession&, NSURLSessionTask&) override { return parses; }
    bool parses = false;
  };
  const auto parser = std::make_shared<Parser>();
  log = parser;
  kept = "Cache-Control: max-age=1000\r\n";
  EXPECT_EQ(get("/a"), "fetched");
  parser->parses = true;
  EXPECT_EQ(get("/a"), "fetched");
  parser->parses = false;
  EXPECT_EQ(get("/a"), "served");
  EXPECT_EQ(get("/a"), "fetched") << "what could not be parsed left the store";
}

TEST_F(DocumentRulesTest, UnaskedConfirmationStopsNothing) {
  std::atomic<int> count = 0;
  LoopbackServer odd([&](auto&) {
    return ++count % 2 == 1 ? RawReply{"HTTP/1.1 304 Not Modified\r\nETag: \"a\"\r\n\r\n"}
                            : RawReply{httpReply("good")};
  });
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(fetch(request(odd.url("/x"))).status, i % 2 == 0 ? 304 : 200);
    EXPECT_EQ(log->bodies.back(), i % 2 == 0 ? "" : "good");
  }
}

}  // namespace
}  // namespace ks::test
