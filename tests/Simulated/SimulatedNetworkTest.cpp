#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Simulated/SimulatedNetwork.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "tests/Http/LoopbackServer.h"

namespace ks {

using test::httpReply;
using test::LoopbackServer;
using test::RawReply;
using test::RawRequest;

namespace {

/// Notes what it hears and when, in virtual time.
struct Note : NSURLSessionDelegate {
  explicit Note(SimulatedPlatform& device) : device(device) {}
  void didFinishDownloadingToURL(NSURLSession&, NSURLSessionTask& task,
                                 const std::filesystem::path&) override {
    write("file of " + task.taskDescription());
  }
  void didCompleteWithError(NSURLSession&, NSURLSessionTask& task,
                            const std::optional<Error>& error) override {
    write((error ? "failure of " : "end of ") + task.taskDescription());
    device.mainQueue().async([this] { write("handled"); });
  }
  void didBecomeInvalidWithError(NSURLSession&, const std::optional<Error>&) override {
    write("invalid");
  }
  void didFinishEventsForBackgroundURLSession(NSURLSession&) override { write("idle"); }
  void write(const std::string& what) {
    text << secondsBetween(kSimulatedStart, device.clock().now()) << ' ' << what << '\n';
  }
  SimulatedPlatform& device;
  std::ostringstream text;
};

/// The note of three transfers, each handled before the next is heard of.
constexpr const char* kInOrder =
    "0 file of /first\n0 end of /first\n0 handled\n"
    "0 file of /second\n0 end of /second\n0 handled\n"
    "0 file of /third\n0 end of /third\n0 idle\n0 handled\n";

std::shared_ptr<NSURLSession> makeSession(SimulatedPlatform& device, std::shared_ptr<Note> note) {
  NSURLSessionConfiguration configuration;
  configuration.identifier = "session";
  configuration.httpMaximumConnectionsPerHost = 1;
  return device.urlLoadingSystem().makeSession(configuration, note);
}

void start(NSURLSession& session, const LoopbackServer& server, const std::string& path) {
  const auto task = session.downloadTaskWithRequest({{server.url(path)}, "GET", {}, {}});
  task->setTaskDescription(path);
  task->resume();
}

RawReply reply(const RawRequest& request) {
  if (request.target == "/never") return {"", RawReply::Then::hang};
  return {httpReply("[]")};
}

}  // namespace

TEST(SimulatedNetworkTest, TimeStandsStillWhileRepliesCome) {
  LoopbackServer server(reply);
  const auto run = [&] {
    SimulatedPlatform device;
    const auto note = std::make_shared<Note>(device);
    const auto session = makeSession(device, note);
    device.mainQueue().after(Seconds{3}, [&] { note->write("timer"); });
    for (const char* path : {"/first", "/second", "/third"}) start(*session, server, path);
    EXPECT_EQ(device.loop().transfersUnderWay(), 3U);
    device.advance(Seconds{10});
    return note->text.str();
  };
  const std::string first = run();
  EXPECT_EQ(first, std::string(kInOrder) + "3 timer\n");
  EXPECT_EQ(run(), first);
}

TEST(SimulatedNetworkTest, RepliesComeInOrderOfStart) {
  // The first reply waits for the third request, which is sent when the second reply is whole.
  std::promise<void> gate;
  const LoopbackServer slow([opened = gate.get_future().share()](const RawRequest&) {
    opened.wait();
    return RawReply{httpReply("[]")};
  });
  const LoopbackServer quick([&](const RawRequest& request) {
    if (request.target == "/third") gate.set_value();
    return RawReply{httpReply("[]")};
  });
  SimulatedPlatform device;
  const auto note = std::make_shared<Note>(device);
  const auto session = makeSession(device, note);
  start(*session, slow, "/first");
  start(*session, quick, "/second");
  start(*session, quick, "/third");
  device.runUntilIdle();
  EXPECT_EQ(note->text.str(), kInOrder);
}

TEST(SimulatedNetworkTest, DroppedSessionsDoNotHoldTime) {
  LoopbackServer server(reply);
  SimulatedPlatform device;
  std::vector<HttpExchange> exchanges;
  device.network().setListener(
      [&](const HttpExchange& exchange) { exchanges.push_back(exchange); });
  const auto note = std::make_shared<Note>(device);
  auto session = device.urlLoadingSystem().makeSession({}, note);
  session->downloadTaskWithRequest({{server.url("/never")}, "GET", {}, {}})->resume();
  session.reset();
  device.advance(Seconds{1});
  EXPECT_EQ(note->text.str(), "");
  EXPECT_TRUE(device.urlLoadingSystem().dataWithContentsOfURL({server.url("/data")}).has_value());
  ASSERT_FALSE(exchanges.empty());
  EXPECT_EQ(exchanges.back().status, 200);
  EXPECT_EQ(device.loop().transfersUnderWay(), 0U);
}

}  // namespace ks
