#include "tools/ksbeacon/timeline/DecisionText.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <utility>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "tools/ksbeacon/timeline/ContentDetails.h"

namespace ks::tool {

namespace {

using Outcome = ks::TriggerDecision::Outcome;
using Rule = ks::TriggerVerdict::Rule;

/// Why the content did not fire: the rule's name, the sentence, and the rule's numbers.
struct Refusal {
  const char* rule;
  std::string text;
  Dictionary numbers;
};

Refusal refusalFor(const ks::TriggerVerdict& verdict) {
  switch (verdict.rule) {
    case Rule::otherProximity:
      return {"proximity",
              fmt::format("{} wanted, {} seen", proximityInWords(verdict.wantedProximity),
                          proximityInWords(verdict.seenProximity)),
              {{"wanted", proximityInWords(verdict.wantedProximity)},
               {"seen", proximityInWords(verdict.seenProximity)}}};
    case Rule::tooFewEvents:
      return {"eventCounter",
              fmt::format("counter {} of {}", verdict.eventCount, verdict.neededEventCount),
              {{"count", verdict.eventCount}, {"needed", verdict.neededEventCount}}};
    case Rule::repeatDelayRunning:
      return {"repeatDelay",
              fmt::format("repeat delay {} s, {} s left", grouped(verdict.repeatDelay),
                          grouped(verdict.secondsLeft)),
              {{"delay", verdict.repeatDelay}, {"left", std::ceil(verdict.secondsLeft)}}};
    case Rule::onceOnly:
      return {"onceOnly", "fires only once and has fired", {}};
    default:
      return {"none", "", {}};
  }
}

Refusal dwellingRefusal(const ks::TriggerDecision& decision, const char* what) {
  return {"dwelling",
          fmt::format("{}dwelling {} of {} s", what, std::floor(decision.elapsed),
                      decision.dwellingTime),
          {{"elapsed", std::floor(decision.elapsed)}, {"needed", decision.dwellingTime}}};
}

Refusal refusalFor(const ks::TriggerDecision& decision, const std::string& category) {
  switch (decision.outcome) {
    case Outcome::categoryDisabled:
      return {"category", fmt::format("category {} off", category), {{"category", category}}};
    case Outcome::dwellingCancelled:
      return dwellingRefusal(decision, "left, ");
    case Outcome::dwellingTooShort:
      return dwellingRefusal(decision, "");
    case Outcome::otherEvent:
      return {
          "otherEvent", fmt::format("waits for {}", decision.isEnter ? "leaving" : "entering"), {}};
    default:
      return decision.verdict ? refusalFor(*decision.verdict) : Refusal{"none", "", {}};
  }
}

}  // namespace

const char* proximityInWords(std::int64_t proximity) {
  constexpr std::array kNames = {"unknown", "immediate", "near", "far"};
  return proximity >= 0 && proximity < 4 ? kNames[static_cast<std::size_t>(proximity)] : "unknown";
}

std::string grouped(double number) {
  std::string digits = fmt::format("{:.0f}", std::ceil(number));
  for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > (number < 0 ? 1 : 0);
       at -= 3) {
    digits.insert(static_cast<std::size_t>(at), ",");
  }
  return digits;
}

TimelineEvent timelineEventFor(const ks::TriggerDecision& decision) {
  const auto content = decision.zone ? decision.zone->content() : nullptr;
  const std::string name = content ? content->identifier.value_or("(null)") : "(null)";
  const std::string zone =
      decision.zone ? decision.zone->identifier().value_or("(null)") : "(null)";
  const char* const event = decision.isEnter ? "enter" : "exit";
  TimelineEvent line;
  line.details = {{"content", name}, {"zone", zone}, {"event", event}};
  const std::string subject = fmt::format("content {} of zone {}", name, zone);
  switch (decision.outcome) {
    case Outcome::fired:
      line.kind = TimelineKind::trigger;
      line.text = subject + (decision.isEnter ? " fires on entering" : " fires on leaving");
      if (decision.dwelt) line.text += fmt::format(" after {} s", decision.dwellingTime);
      line.details.set("dwelt", decision.dwelt);
      if (content) line.details.set("shows", contentDetails(*content));
      return line;
    case Outcome::dwellingStarted:
    case Outcome::dwellingPending:
      line.kind = TimelineKind::dwelling;
      line.minor = decision.outcome == Outcome::dwellingPending;
      line.text = fmt::format("{} fires after a stay of {} s", subject, decision.dwellingTime);
      line.details.set("needed", decision.dwellingTime);
      line.details.set("pending", line.minor);
      return line;
    default:
      break;
  }
  line.kind = TimelineKind::refusal;
  const std::string category = content ? content->categoryIdentifier.value_or("(null)") : "(null)";
  const Refusal refusal = refusalFor(decision, category);
  line.text = fmt::format("{}: {}", subject, refusal.text);
  line.details.set("rule", refusal.rule);
  for (const auto& [key, value] : refusal.numbers) line.details.set(key, value);
  return line;
}

}  // namespace ks::tool
