#include <gmock/gmock.h>

#include <future>
#include <thread>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpWorker.h"
#include "tests/Http/HttpFixture.h"
#include "tests/Http/LoopbackServer.h"

namespace ks::test {
namespace {

using testing::ElementsAre;
using Then = RawReply::Then;

class HttpURLLoadingSystemTest : public HttpFixture {};

TEST_F(HttpURLLoadingSystemTest, DeliversEventsInOneTask) {
  LoopbackServer server([](auto&) { return RawReply{httpReply("hello", "X-A: 1\r\nX-A: 2\r\n")}; });
  log->logsTransfers = true;
  const auto task = download(request(server.url("/a")));
  task->resume();
  EXPECT_EQ(log->started, 1);
  ASSERT_TRUE(queue->runNext());

  EXPECT_THAT(log->events, ElementsAre("file /a 200", "complete /a 0", "end", "finished"));
  EXPECT_THAT(log->bodies, ElementsAre("hello"));
  EXPECT_EQ(log->permissions[0],
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_EQ(log->files[0].parent_path(), folder / "tmp");
  EXPECT_FALSE(std::filesystem::exists(log->files[0]));
  EXPECT_EQ(*task->response()->headers.find("x-a"), "1, 2");
  EXPECT_EQ(log->exchanges[0].bytesReceived, 5U);
  EXPECT_FALSE(log->exchanges[0].fromCache);
}

TEST_F(HttpURLLoadingSystemTest, SendsCleanFieldsOnce) {
  LoopbackServer server([](auto&) { return RawReply{httpReply("")}; });
  configuration.httpAdditionalHeaders.set("Authorization", "Basic QUJD\r\nREVG\r\n");
  configuration.httpAdditionalHeaders.set("Accept-Language", "it-it");
  auto get = request(server.url("/a?b=%20"));
  get.headers.set("accept-language", "en-us");
  get.headers.set("Content-Length", "7");
  get.headers.set("Transfer-Encoding", "chunked");
  fetch(get);

  const auto seen = server.requests().at(0);
  EXPECT_EQ(seen.target, "/a?b=%20");
  EXPECT_EQ(seen.field("Authorization"), "Basic QUJDREVG");
  EXPECT_EQ(seen.field("Accept-Language"), "en-us");
  EXPECT_EQ(seen.field("Content-Length") + seen.field("Transfer-Encoding"), "");
}

TEST_F(HttpURLLoadingSystemTest, RefusesRequestsThatSmuggle) {
  LoopbackServer server([](auto&) { return RawReply{httpReply("")}; });
  const auto with = [&](const std::string& name, const std::string& value) {
    auto result = request(server.url("/x"));
    result.headers.set(name, value);
    return result;
  };
  auto method = request(server.url("/x"));
  method.httpMethod = "GET /y HTTP/1.1\r\nX:";
  constexpr auto kBad = static_cast<std::int64_t>(NSURLError::badURL);
  constexpr auto kUnsupported = static_cast<std::int64_t>(NSURLError::unsupportedURL);
  const std::vector<std::pair<NSURLRequest, std::int64_t>> cases = {
      {with("X-A", "1\r\nX-B: 2"), kBad},
      {with("X-A", "1\nX-B: 2"), kBad},
      {with("X-A", std::string("1\0", 2)), kBad},
      {with("Authorization", std::string("1\0", 2)), kBad},
      {with("X-A: 1\r\nX-B", "2"), kBad},
      {with("", "2"), kBad},
      {method, kBad},
      {request(server.url("/x\r\nX: 1")), kBad},
      {request(server.url("/x y")), kBad},
      {request("http://"), kBad},
      {request("/relative"), kBad},
      {request(""), kBad},
      {request("ftp://127.0.0.1/x"), kUnsupported},
      {request("file:///etc/passwd"), kBad},
  };
  for (const auto& [bad, code] : cases) {
    EXPECT_EQ(codeOf(fetch(bad)), code) << bad.url.absoluteString;
  }
  EXPECT_TRUE(server.requests().empty());
  EXPECT_EQ(log->started, static_cast<int>(cases.size()));
}

TEST_F(HttpURLLoadingSystemTest, KeepsOrderOnOneConnection) {
  LoopbackServer server([](auto& request) {
    // The third ends its connection: the order holds over a reconnection too.
    return RawReply{httpReply("x"), request.target == "/2" ? Then::close : Then::keepOpen};
  });
  std::vector<std::string> expected;
  for (int i = 0; i < 20; ++i) {
    expected.push_back("/" + std::to_string(i));
    download(request(server.url(expected.back())));
  }
  runUntilEnded(20);

  std::vector<std::string> seen;
  for (const auto& each : server.requests()) seen.push_back(each.target);
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(server.mostConnectionsAtOnce(), 1);
  EXPECT_EQ(std::count(log->events.begin(), log->events.end(), "finished"), 1);
}

TEST_F(HttpURLLoadingSystemTest, GetAndPostShareOneConnection) {
  LoopbackServer server([](auto&) { return RawReply{httpReply("x")}; });
  for (int i = 0; i < 12; ++i) {
    auto each = request(server.url("/" + std::to_string(i)));
    if (i % 2 == 1) {
      each.httpMethod = "POST";
      each.httpBody = {'1'};
    }
    EXPECT_EQ(codeOf(fetch(each)), 0);
  }
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(HttpURLLoadingSystemTest, PlainPortalsAreWarnedOfOnce) {
  std::vector<std::string> warnings;
  options.warn = [&](const std::string& text) { warnings.push_back(text); };
  for (const char* url : {"http://127.0.0.1:1/", "http://[::1]:1/", "https://x.invalid/",
                          "http://x.invalid/", "http://y.invalid/"}) {
    download(request(url))->cancel();
  }
  EXPECT_THAT(warnings, ElementsAre(testing::HasSubstr("x.invalid")));
}

TEST_F(HttpURLLoadingSystemTest, UploadsFromFile) {
  LoopbackServer server([](auto&) { return RawReply{httpReply("thanks", "", 400)}; });
  makeSession();
  auto post = request(server.url("/up"));
  post.httpMethod = "POST";
  post.headers.set("Content-Type", "application/json");
  const std::string body(200'000, 'b');
  const auto task = session->uploadTaskWithRequest(post, writeText(folder / "body", body));
  task->setTaskDescription("note");
  task->resume();
  const auto missing = session->uploadTaskWithRequest(post, folder / "none");
  missing->resume();
  runUntilEnded(2);

  const auto seen = server.requests().at(0);
  EXPECT_EQ(seen.body, body);
  EXPECT_EQ(seen.field("Content-Type"), "application/json");
  EXPECT_THAT(log->events, ElementsAre("complete /up 0", "complete /up -1", "finished"));
  EXPECT_EQ(task->response()->statusCode, 400);
  EXPECT_EQ(log->exchanges[0].bytesSent, body.size());
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(HttpURLLoadingSystemTest, InvalidationCancelsInOrder) {
  LoopbackServer server([](auto&) { return RawReply{"", Then::hang}; });
  std::vector<std::shared_ptr<NSURLSessionTask>> tasks;
  for (const char* path : {"/a", "/b", "/c"}) tasks.push_back(download(request(server.url(path))));
  tasks[1]->cancel();
  ASSERT_TRUE(queue->runNext());
  session->invalidateAndCancel();
  session->invalidateAndCancel();
  download(request(server.url("/late")));
  runUntilEnded(3);

  EXPECT_THAT(log->events, ElementsAre("complete /b -999", "complete /a -999", "complete /c -999",
                                       "finished", "invalid"));
  EXPECT_FALSE(queue->runNext(std::chrono::milliseconds(50)));
  EXPECT_EQ(log->started, 3);
}

TEST_F(HttpURLLoadingSystemTest, InvalidationOfIdleSession) {
  makeSession();
  const auto task = session->downloadTaskWithRequest(request("http://127.0.0.1:1/never"));
  task->cancel();
  task->resume();
  ASSERT_TRUE(queue->runNext());
  session->invalidateAndCancel();
  ASSERT_TRUE(queue->runNext());
  EXPECT_THAT(log->events, ElementsAre("complete /never -999", "finished", "invalid"));
}

TEST_F(HttpURLLoadingSystemTest, DelegateMayBeGone) {
  LoopbackServer server([](auto&) { return RawReply{httpReply("x")}; });
  makeSystem();
  auto delegate = std::make_shared<EventLog>();
  session = system->makeSession(configuration, delegate);
  download(request(server.url("/a")));
  delegate.reset();
  runUntilEnded(1);
  EXPECT_TRUE(nothingIsLeft());

  // A session that goes with a transfer under way: no event, but the transfer is accounted for.
  download(request(server.url("/b")));
  session.reset();
  runUntilEnded(2);
  EXPECT_TRUE(log->events.empty());
}

TEST_F(HttpURLLoadingSystemTest, EndsCleanlyAtAnyMoment) {
  LoopbackServer server([](auto& request) {
    return request.target == "/hang" ? RawReply{"", Then::hang} : RawReply{httpReply("x")};
  });
  configuration.urlCache = {0, 1 << 20, folder / "cache"};
  for (int round = 0; round < 30; ++round) {
    makeSession();
    std::thread runner([&] { queue->runNext(std::chrono::milliseconds(round % 7)); });
    for (int i = 0; i < 4; ++i) {
      download(request(server.url(i == round % 5 ? "/hang" : "/fast")));
    }
    if (round % 3 == 0) session->invalidateAndCancel();
    if (round % 2 == 0) session.reset();
    runner.join();
    system.reset();
    session.reset();
    queue = std::make_shared<HandQueue>();
  }
  EXPECT_TRUE(nothingIsLeft());
}

TEST_F(HttpURLLoadingSystemTest, FetchesDataOnCallingThread) {
  LoopbackServer server([](auto& request) {
    if (request.target == "/missing") return RawReply{httpReply("no", "", 404)};
    if (request.target == "/silent") return RawReply{"", Then::hang};
    if (request.target == "/long") return RawReply{httpReply(std::string(2000, 'x'))};
    return RawReply{httpReply("image")};
  });
  options.dataTimeout = Seconds{1};
  options.maximumBodySize = 1000;
  options.allowsLocalData = true;
  makeSystem();
  const auto data = system->dataWithContentsOfURL({server.url("/image")});
  ASSERT_TRUE(data);
  EXPECT_EQ(std::string(data->begin(), data->end()), "image");
  for (const auto& url : {server.url("/missing"), server.url("/silent"), server.url("/long"),
                          std::string("file:///etc/hostname"), std::string("nonsense")}) {
    EXPECT_FALSE(system->dataWithContentsOfURL({url})) << url;
  }
  // The caller's limits are below the system's.
  EXPECT_FALSE(system->dataWithContentsOfURL({server.url("/image")}, {4, Seconds{60}}));
  EXPECT_FALSE(system->dataWithContentsOfURL({server.url("/image")}, {60, Seconds{-1}}));
  EXPECT_EQ(log->exchanges.size(), 8U);
  EXPECT_EQ(log->started, 8);
}

TEST_F(HttpURLLoadingSystemTest, FetchesNoDataFromThisDevice) {
  LoopbackServer server([](auto&) { return RawReply{httpReply("secret")}; });
  const std::string port = server.url("").substr(server.url("").rfind(':'));
  makeSystem();
  for (const std::string host :
       {"127.0.0.1", "localhost", "127.9.9.9", "2130706433", "0.0.0.0", "[::1]",
        "[::ffff:127.0.0.1]", "169.254.169.254", "[fe80::1%25lo]"}) {
    EXPECT_FALSE(system->dataWithContentsOfURL({"http://" + host + port + "/x"})) << host;
  }
  EXPECT_THAT(server.requests(), testing::IsEmpty());
  fetch(request(server.url("/portal")));
  EXPECT_TRUE(system->dataWithContentsOfURL({server.url("/x")})) << "a portal of this device";
}

TEST(HttpWorkerTest, EndIsNotWaitedForWithoutLimit) {
  std::promise<void> hanging;
  std::promise<void> ended;
  auto worker = HttpWorker::start("KSTest");
  worker->post([hangs = hanging.get_future().share()] { hangs.wait(); });
  worker->stop([&] { ended.set_value(); }, Seconds{0.01});
  EXPECT_FALSE(worker->post([] {}));
  EXPECT_NE(ended.get_future().wait_for(std::chrono::seconds(0)), std::future_status::ready);
  const std::weak_ptr<HttpWorker> left = std::exchange(worker, nullptr);
  hanging.set_value();
  while (!left.expired()) std::this_thread::yield();
}

}  // namespace
}  // namespace ks::test
