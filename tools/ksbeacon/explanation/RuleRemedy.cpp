#include "tools/ksbeacon/explanation/RuleRemedy.h"

#include <fmt/format.h>

namespace ks::tool {

std::string remedyForRule(const TimelineEvent& decision) {
  const auto number = [&](const char* name) { return decision.details[name].doubleValue(); };
  const auto text = [&](const char* name) {
    return decision.details[name].stringValue().value_or("");
  };
  if (decision.kind == TimelineKind::dwelling) {
    return fmt::format("if the device stayed {:.0f} s from {}", number("needed"),
                       timelineMoment(decision.at));
  }
  const std::string rule = text("rule");
  if (rule == "proximity") {
    return fmt::format("if the device were {}: {} was seen", text("wanted"), text("seen"));
  }
  if (rule == "eventCounter") {
    const double missing = number("needed") - number("count");
    return fmt::format("after {:.0f} more {} in time: {:.0f} of {:.0f} were counted", missing,
                       missing == 1 ? "event" : "events", number("count"), number("needed"));
  }
  if (rule == "repeatDelay") {
    return fmt::format("at the next event after {}: {:.0f} s of the repeat delay were left",
                       timelineMoment(decision.at + Seconds{number("left")}), number("left"));
  }
  if (rule == "onceOnly") return "if it did not fire only once: it has fired";
  if (rule == "category") return fmt::format("if category {} were on", text("category"));
  if (rule == "dwelling") {
    return fmt::format("if the device stayed {:.0f} s, not {:.0f}", number("needed"),
                       number("elapsed"));
  }
  if (rule == "otherEvent") return "on the other kind of event: " + decision.text;
  return "if " + decision.text + " did not hold";
}

}  // namespace ks::tool
