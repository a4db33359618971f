#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "BeaconSDK/Platform/Common/SystemClock.h"
#include "BeaconSDK/Platform/Linux/Loop/MainQueue.h"
#include "BeaconSDK/Platform/Linux/Network/LinuxReachability.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

using testing::ElementsAre;

namespace {

constexpr auto kReachable = kSCNetworkReachabilityFlagsReachable;
constexpr auto kDirect = kReachable | kSCNetworkReachabilityFlagsIsDirect;
constexpr SocketAddress kNeighbour{.address = 0x0A630001};
constexpr SocketAddress kLocalWiFi{.address = 0xA9FE0000};

bool ip(const std::string& arguments) { return run({"sh", "-c", "ip " + arguments}); }

InternetAddress addressOf(std::uint32_t address) { return internetAddress({.address = address}); }

/// A network of its own, seen by the kernel alone: one link of this machine ("wire") and its other
/// end ("peer").
class LinuxReachabilityTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("GIO_USE_NETWORK_MONITOR", "netlink", 1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    isolated_ = ::unshare(CLONE_NEWNET) == 0 && ip("link set lo up");
  }
  void SetUp() override {
    if (!isolated_) GTEST_SKIP() << "making network namespaces is not permitted here";
    ASSERT_TRUE(ip("link add wire type veth peer name peer"));
    ASSERT_TRUE(ip("link set peer up"));
    service_ = std::make_unique<LinuxReachability>(
        queue_, networks_.path(), [this](const std::string& host) { return lookUp(host); });
  }
  void TearDown() override { ip("link del wire"); }

  static void connect() {
    ASSERT_TRUE(ip("addr add 10.99.0.2/24 dev wire") && ip("link set wire up") &&
                ip("route add default via 10.99.0.1"));
  }
  std::vector<InternetAddress> lookUp(const std::string& host) const {
    if (host == "slow.example") std::this_thread::sleep_for(std::chrono::seconds(2));
    if (host == "none.example") return {};
    return {addressOf(0xC0000201), addressOf(kNeighbour.address)};
  }
  void setKind(const std::string& kind) const {
    writeText(networks_.path() / "wire/uevent", "DEVTYPE=" + kind + "\nINTERFACE=wire\n");
  }
  static bool becomes(SCNetworkReachability& watch, SCNetworkReachabilityFlags flags) {
    return runLoopUntil([&] { return watch.getFlags() == flags; });
  }

  static inline bool isolated_ = false;
  TemporaryFolder networks_;
  MainQueue queue_;
  std::unique_ptr<LinuxReachability> service_;
};

}  // namespace

TEST_F(LinuxReachabilityTest, FlagsFollowRoutesAndLinks) {
  const auto internet = service_->reachabilityWithAddress({});
  const auto neighbour = service_->reachabilityWithAddress(kNeighbour);
  const auto self = service_->reachabilityWithAddress({.address = INADDR_LOOPBACK});
  const auto wifi = service_->reachabilityWithAddress(kLocalWiFi);
  EXPECT_EQ(internet->getFlags(), 0U);
  EXPECT_EQ(self->getFlags(), kDirect);
  connect();
  EXPECT_TRUE(becomes(*internet, kReachable));
  EXPECT_TRUE(service_->state().usable);
  EXPECT_TRUE(becomes(*neighbour, kDirect));
  EXPECT_EQ(wifi->getFlags(), 0U) << "a wired link";
  setKind("wlan");
  EXPECT_TRUE(becomes(*wifi, kDirect));
  setKind("wwan");
  EXPECT_TRUE(becomes(*internet, kReachable | kSCNetworkReachabilityFlagsIsWWAN));
  ASSERT_TRUE(ip("link set peer down"));
  EXPECT_TRUE(becomes(*internet, 0)) << "the route stays, the link carries no more";
  EXPECT_FALSE(service_->state().usable);
  EXPECT_TRUE(becomes(*neighbour, 0));
  ASSERT_TRUE(ip("link set peer up") && ip("route del default"));
  EXPECT_TRUE(becomes(*internet, 0));
  EXPECT_TRUE(becomes(*neighbour, kDirect | kSCNetworkReachabilityFlagsIsWWAN));
}

TEST_F(LinuxReachabilityTest, TellsOfChangesOnce) {
  connect();
  const auto watch = service_->reachabilityWithAddress({});
  ASSERT_TRUE(becomes(*watch, kReachable));
  std::vector<SCNetworkReachabilityFlags> reports;
  watch->setCallback([&](auto flags) {
    EXPECT_TRUE(queue_.isCurrent());
    reports.push_back(flags);
  });
  watch->schedule();
  runLoopFor(Seconds{0.1});
  ASSERT_TRUE(ip("link set peer down"));
  EXPECT_TRUE(runLoopUntil([&] { return reports.size() == 1; }));
  ASSERT_TRUE(ip("link set peer up"));
  EXPECT_TRUE(runLoopUntil([&] { return reports.size() == 2; }));
  ASSERT_TRUE(ip("addr add 10.98.0.1/24 dev wire"));
  runLoopFor(Seconds{0.2});
  watch->unschedule();
  ASSERT_TRUE(ip("route del default"));
  runLoopFor(Seconds{0.2});
  EXPECT_THAT(reports, ElementsAre(0, kReachable));
}

TEST_F(LinuxReachabilityTest, LooksNamesUpWithinTheLimit) {
  connect();
  const auto known = service_->reachabilityWithName("known.example");
  const auto none = service_->reachabilityWithName("none.example");
  const auto slow = service_->reachabilityWithName("slow.example");
  EXPECT_TRUE(becomes(*known, kReachable)) << "by the first address";
  EXPECT_EQ(none->getFlags(), 0U);
  const Seconds begin = monotonicUptime();
  EXPECT_EQ(slow->getFlags(), std::nullopt);
  EXPECT_LT((monotonicUptime() - begin).count(), 2);
  EXPECT_TRUE(runLoopUntil([&] { return slow->getFlags() == kReachable; }))
      << "the late answer serves a later reading";
  for (const std::string& host : {std::string(), std::string("two words"), std::string("a\nb"),
                                  std::string(254, 'a'), std::string("host/path")}) {
    EXPECT_EQ(service_->reachabilityWithName(host), nullptr) << host;
  }
}

TEST_F(LinuxReachabilityTest, NamesHearOfChangesWithoutBlocking) {
  const auto watch = service_->reachabilityWithName("slow.example");
  std::vector<SCNetworkReachabilityFlags> reports;
  watch->setCallback([&](auto flags) { reports.push_back(flags); });
  const Seconds begin = monotonicUptime();
  watch->schedule();
  EXPECT_LT((monotonicUptime() - begin).count(), 0.45);
  runLoopFor(Seconds{2.2});
  connect();
  EXPECT_TRUE(runLoopUntil([&] { return !reports.empty(); }));
  EXPECT_EQ(reports.back(), kReachable);
}

TEST_F(LinuxReachabilityTest, WatchesMayOutliveTheService) {
  connect();
  const auto watch = service_->reachabilityWithAddress({});
  const auto name = service_->reachabilityWithName("slow.example");
  watch->setCallback([](auto) { ADD_FAILURE() << "the service is gone"; });
  watch->schedule();
  name->schedule();
  service_.reset();
  ASSERT_TRUE(ip("link set peer down"));
  runLoopFor(Seconds{0.2});
  EXPECT_EQ(watch->getFlags(), 0U);
}

}  // namespace ks::test
