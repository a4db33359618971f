#include <vector>

#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "tests/Support/PlatformFixture.h"

namespace {

using Rule = ks::TriggerVerdict::Rule;

class KSTriggerRulesTest : public ks::testing::PlatformFixture {
 protected:
  KSTriggerRulesTest() { enableLogging = true; }
  ~KSTriggerRulesTest() override { enableLogging = false; }

  /// The trace since the last call, without its stamps; "" when it was silent.
  std::string trace() {
    std::string text;
    for (const auto& line : platform_->console().lines()) text += line.substr(line.find("): ") + 3);
    platform_->console().clear();
    return text;
  }
  void expectAnswer(bool answer, const std::string& line) {
    EXPECT_EQ(content_.canTriggerAction(), answer);
    EXPECT_EQ(trace(), line);
  }

  KSHTMLProximityZoneContent content_;
};

TEST_F(KSTriggerRulesTest, FirstRuleThatAppliesAnswers) {
  struct Row {
    std::int64_t wanted, seen, counter, needed;
    double repeatDelay;
    std::optional<double> blockedFor;
    Rule rule;
    bool canTrigger;
  };
  const std::vector<Row> table{
      {2, 1, 0, 3, -1, 100, Rule::otherProximity, false},
      {2, 0, 0, 0, 0, {}, Rule::otherProximity, false},
      {2, 2, 2, 3, -1, 100, Rule::tooFewEvents, false},
      {0, 3, -5, 2, 0, {}, Rule::tooFewEvents, false},
      {0, 0, 3, 3, 60, {}, Rule::notBlocked, true},
      {0, 1, 0, 1, 60, {}, Rule::notBlocked, true},
      {0, 1, 0, 0, 0, 100, Rule::noRepeatDelay, true},
      {0, 1, 0, 0, 60, 0, Rule::repeatDelayOver, true},
      {0, 1, 0, 0, 60, 0.5, Rule::repeatDelayRunning, false},
      {0, 1, 0, 0, -0.5, -100, Rule::onceOnly, false},
      {0, 1, 0, 0, -1, {}, Rule::notBlocked, true},
  };
  for (const auto& row : table) {
    content_.proximity = row.wanted;
    content_.eventDetectionCounter = row.counter;
    content_.notifyAfterEventsCount = row.needed;
    content_.repeatDelay = row.repeatDelay;
    content_.blockedUntilDate.reset();
    if (row.blockedFor) content_.blockedUntilDate = now() + ks::Seconds{*row.blockedFor};
    const auto verdict = content_.evaluateTrigger(row.seen, now());
    EXPECT_EQ(verdict.rule, row.rule) << &row - table.data();
    EXPECT_EQ(verdict.canTrigger(), row.canTrigger);
    EXPECT_EQ(content_.canTriggerAction(row.seen), row.canTrigger);
  }
}

TEST_F(KSTriggerRulesTest, VerdictCarriesItsNumbers) {
  content_.proximity = 2;
  content_.notifyAfterEventsCount = content_.eventDetectionCounter = 3;
  content_.repeatDelay = 3600;
  content_.blockedUntilDate = now() + ks::Seconds{2460};
  const ks::TriggerVerdict expected{Rule::repeatDelayRunning, 2, 2, 3, 3, 3600, 2460};
  EXPECT_EQ(content_.evaluateTrigger(2, now()), expected);
}

TEST_F(KSTriggerRulesTest, CountsEventsWithinOnePeriod) {
  content_.notifyAfterEventsCount = 3;
  content_.notifyAfterEventsInterval = 60;
  content_.updateEventDetectionCounter();
  EXPECT_TRUE(content_.isUpdatedLocalProperties);
  expectAnswer(false, "Can't trigger, event detection counter = 1, should trigger after 3");
  advance(60);
  content_.updateEventDetectionCounter();
  expectAnswer(false, "Can't trigger, event detection counter = 2, should trigger after 3");
  advance(0.001);
  content_.updateEventDetectionCounter();
  EXPECT_EQ(content_.eventDetectionCounter, 1) << "the period has run out";
  EXPECT_EQ(content_.firstEventDetectedOn, now());
  content_.updateEventDetectionCounter();
  content_.updateEventDetectionCounter();
  expectAnswer(true, "");
  content_.firstEventDetectedOn.reset();
  content_.updateEventDetectionCounter();
  EXPECT_EQ(content_.eventDetectionCounter, 4) << "a missing date counts as now";
  content_.notifyAfterEventsInterval = -1;
  content_.updateEventDetectionCounter();
  EXPECT_EQ(content_.eventDetectionCounter, 1);
}

TEST_F(KSTriggerRulesTest, CountsUnlessOneEventIsEnough) {
  for (const std::int64_t needed : {1, 0, -2}) {
    KSHTMLProximityZoneContent content;
    content.notifyAfterEventsCount = needed;
    content.updateEventDetectionCounter();
    EXPECT_EQ(content.eventDetectionCounter, needed == 1 ? 0 : 1);
    EXPECT_EQ(content.isUpdatedLocalProperties, needed != 1);
  }
}

TEST_F(KSTriggerRulesTest, FiringBlocksForItsDelay) {
  content_.repeatDelay = 60;
  content_.eventDetectionCounter = 4;
  content_.firstEventDetectedOn = now();
  content_.trigger();
  EXPECT_EQ(content_.eventDetectionCounter, 0);
  EXPECT_FALSE(content_.firstEventDetectedOn);
  EXPECT_TRUE(content_.isUpdatedLocalProperties);
  advance(15);
  expectAnswer(false, "Can't trigger, repeatDelay 60.000000 and interval 45.000000");
  advance(45);
  expectAnswer(true, "Can trigger");
}

TEST_F(KSTriggerRulesTest, NegativeDelayFiresOnce) {
  for (const double delay : {-0.5, -1.0, -3600.0}) {
    content_.repeatDelay = delay;
    content_.trigger();
    advance(1e7);
    expectAnswer(false, "Can only trigger once, triggered already before");
    const double blockedFor = ks::secondsBetween(now(), *content_.blockedUntilDate);
    EXPECT_EQ(blockedFor > 9e18, delay <= -1.0);
  }
  content_.repeatDelay = 0;
  content_.trigger();
  EXPECT_EQ(content_.blockedUntilDate, now());
  expectAnswer(true, "");
}

TEST_F(KSTriggerRulesTest, FreshCopyTakesRunTimeStateOver) {
  KSHTMLProximityZoneContent fresh;
  fresh.trigger();
  const auto fired = now();
  advance(5);
  content_.eventDetectionCounter = 2;
  content_.firstSeenOn = now();
  fresh.isUpdatedLocalProperties = false;
  fresh.updateFromContent(content_);
  EXPECT_EQ(fresh.firstSeenOn, now());
  EXPECT_EQ(fresh.eventDetectionCounter, 2);
  EXPECT_FALSE(fresh.blockedUntilDate || fresh.isUpdatedLocalProperties);
  EXPECT_EQ(fresh.getLastActionTriggerDate(), fired) << "never fired does not overwrite";
}

}  // namespace
