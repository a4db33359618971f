#include <gmock/gmock.h>

#include "BeaconSDK/Classes/Stats/KSStatsOutbox.h"
#include "tests/Support/PlatformFixture.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks::testing {
namespace {

using ::testing::ElementsAre;
using Dropped = std::map<std::string, std::int64_t>;

/// A portal that answers when told, and the process in front of it, which may die.
class KSStatsOutboxTest : public PlatformFixture {
 protected:
  KSStatsOutboxTest() { relaunch(); }

  void relaunch(const std::string& rootURL = "https://portal.test/app") {
    outbox.reset();
    outbox = std::make_shared<KSStatsOutbox>(
        folder / "statistics", rootURL, "device",
        [this](const KSStatsOutbox::Event& event, KSStatsOutbox::Reply reply) {
          attempts.push_back(std::string(event.body.begin(), event.body.end()));
          keys.push_back(event.idempotencyKey);
          pending = std::move(reply);
        },
        platform_->mainQueue());
    outbox->sendNext();
  }
  void make(std::string_view body) {
    outbox->add("https://portal.test/app/beacons/enter", Data(body.begin(), body.end()), now());
  }
  void portalAnswers(std::optional<int> status) {
    ASSERT_TRUE(pending);
    std::exchange(pending, nullptr)(status);
    EXPECT_TRUE(outbox->ledger().agrees());
  }
  std::vector<std::string> takeAttempts() { return std::exchange(attempts, {}); }

  test::TemporaryFolder folder;
  std::shared_ptr<KSStatsOutbox> outbox;
  std::vector<std::string> attempts;
  std::vector<std::string> keys;
  KSStatsOutbox::Reply pending;
};

TEST_F(KSStatsOutboxTest, SendsInOrderUntilAccepted) {
  for (const char* body : {"a", "b", "c"}) make(body);
  EXPECT_THAT(takeAttempts(), ElementsAre("a"));
  portalAnswers(503);
  make("d");
  advance(4.9);
  EXPECT_THAT(takeAttempts(), ElementsAre());
  advance(0.2);
  portalAnswers(std::nullopt);
  advance(9.9);
  EXPECT_THAT(takeAttempts(), ElementsAre("a"));
  advance(0.2);
  portalAnswers(200);
  portalAnswers(422);
  for (int i = 0; i < 2; ++i) portalAnswers(204);
  EXPECT_THAT(takeAttempts(), ElementsAre("a", "b", "c", "d"));
  EXPECT_EQ(outbox->ledger(), (ks::StatsLedger{4, 0, 3, 1, {}}));
  EXPECT_EQ(keys[0], keys[2]);
  EXPECT_EQ(std::set(keys.begin(), keys.end()).size(), 4u);
}

TEST_F(KSStatsOutboxTest, OutlivesTheProcess) {
  for (const char* body : {"a", "b", "c"}) make(body);
  portalAnswers(200);
  const auto key = keys.back();
  relaunch();
  EXPECT_THAT(takeAttempts(), ElementsAre("a", "b", "b"));
  EXPECT_EQ(keys.back(), key);
  EXPECT_EQ(outbox->ledger(), (ks::StatsLedger{3, 2, 1, 0, {}}));
  std::filesystem::remove(folder / "statistics/0000000002.event");
  relaunch("https://portal.test/other");
  EXPECT_EQ(outbox->ledger(), (ks::StatsLedger{3, 0, 1, 0, {{"lost", 1}, {"otherPortal", 1}}}));
}

TEST_F(KSStatsOutboxTest, ADamagedLedgerCostsOnlyItsCounts) {
  for (const char* body : {"a", "b", "c"}) make(body);
  portalAnswers(200);
  test::writeText(folder / "statistics/ledger.dat", "?");
  test::writeText(folder / "statistics/99999999999999.event", "?");
  relaunch();
  EXPECT_EQ(outbox->ledger(), (ks::StatsLedger{3, 2, 0, 0, {{"lost", 1}}}));
}

TEST_F(KSStatsOutboxTest, FullOutboxDropsTheOldest) {
  for (std::int64_t i = 0; i < KSStatsOutbox::kMostWaiting + 3; ++i) make(std::to_string(i));
  EXPECT_EQ(outbox->ledger().dropped, Dropped{});
  portalAnswers(500);
  EXPECT_EQ(outbox->ledger().waiting, KSStatsOutbox::kMostWaiting);
  EXPECT_EQ(outbox->ledger().dropped, (Dropped{{"outboxFull", 3}}));
  advance(6);
  EXPECT_EQ(attempts.back(), "3");
}

TEST_F(KSStatsOutboxTest, KeepsInMemoryWhatTheDiskRefuses) {
  std::filesystem::remove_all(folder / "statistics");
  make("a");
  make("b");
  portalAnswers(200);
  portalAnswers(200);
  EXPECT_EQ(outbox->ledger(), (ks::StatsLedger{2, 0, 2, 0, {}}));
}

TEST_F(KSStatsOutboxTest, PurgeForgetsTheAttemptUnderWay) {
  make("a");
  const auto late = std::exchange(pending, nullptr);
  outbox->purge();
  advance(1);
  make("b");
  late(200);
  EXPECT_EQ(outbox->ledger(), (ks::StatsLedger{1, 1, 0, 0, {}}));
  EXPECT_NE(keys[0], keys[1]);
}

}  // namespace
}  // namespace ks::testing
