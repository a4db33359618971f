#include "tools/ksbeacon/status/HealthText.h"

#include <fmt/format.h>

#include <cmath>

#include "BeaconSDK/Platform/Api/Version.h"
#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/output/JsonText.h"

namespace ks::tool {

namespace {

std::string line(std::string_view name, const std::string& text) {
  return text.empty() ? "" : fmt::format("{:<14}{}\n", name, printable(text));
}

std::string textOf(const Value& value) { return value.stringValue().value_or(""); }

std::string ageOf(const Value& seconds) {
  if (seconds.isAbsent()) return "";
  if (!seconds.isNumber()) return "none yet";
  return fmt::format("{:.0f} s ago", std::floor(seconds.doubleValue()));
}

std::string dateOf(const Value& seconds) {
  // No later than any calendar goes.
  const double number = seconds.doubleValue();
  const bool isDate = seconds.isNumber() && std::abs(number) < 1e11;
  return isDate ? dateInUTC(dateFromSecondsSince1970(number)) : "";
}

std::string startOf(const Dictionary& health) {
  if (health["deaf"].boolValue()) return "reset";
  if (health["started"].boolValue()) return "yes";
  return health["starting"].boolValue() ? "is starting" : "no";
}

std::string repliesOf(const Dictionary& health) {
  const Dictionary* const replies = health["lastReply"].dictionary();
  if (replies == nullptr) return "";
  std::string text;
  for (const auto& [kind, reply] : *replies) {
    if (reply.dictionary() == nullptr) continue;
    text +=
        fmt::format("{}{} {}", text.empty() ? "" : ", ", kind, ageOf((*reply.dictionary())["age"]));
  }
  if (text.empty()) text = "no good reply yet";
  const std::string refused = dateOf(health["loginRefusedSince"]);
  return refused.empty() ? text : text + "; refuses the login since " + refused;
}

std::string statisticsOf(const Dictionary& health) {
  const Dictionary* const ledger = health["statistics"].dictionary();
  if (ledger == nullptr) return health["statistics"].isNull() ? "not kept" : "";
  std::string text =
      fmt::format("{} made: {} sent, {} refused, {} wait", (*ledger)["made"].integerValue(),
                  (*ledger)["sent"].integerValue(), (*ledger)["refused"].integerValue(),
                  (*ledger)["waiting"].integerValue());
  if (const Dictionary* const dropped = (*ledger)["dropped"].dictionary()) {
    for (const auto& [reason, times] : *dropped) {
      text += fmt::format(", {} dropped ({})", times.integerValue(), reason);
    }
  }
  return text;
}

/// What came in, and what of it was odd.
std::string counted(const Dictionary& health, std::string_view all, std::string_view used,
                    std::initializer_list<std::pair<const char*, const char*>> oddities) {
  const Dictionary* const counters = health["counters"].dictionary();
  if (counters == nullptr) return "";
  std::string text = fmt::format("{} {}", (*counters)[std::string(all)].integerValue(), used);
  for (const auto& [name, meaning] : oddities) {
    const std::int64_t times = (*counters)[name].integerValue();
    if (times != 0) text += fmt::format(", {} {}", times, meaning);
  }
  return text;
}

std::string ailmentsIn(const Dictionary& health, bool colours) {
  std::string text;
  const Array* const ailments = health["ailments"].array();
  for (const Value& item : ailments == nullptr ? std::vector<Value>{} : ailments->items) {
    const Dictionary* const ailment = item.dictionary();
    if (ailment == nullptr) continue;
    text += fmt::format("{}{:<20}{}{}\n", colours ? "\033[31m" : "",
                        printable(textOf((*ailment)["reason"])), colours ? "\033[0m" : "",
                        printable(textOf((*ailment)["text"])));
    const std::string mend = textOf((*ailment)["mend"]);
    if (!mend.empty()) text += fmt::format("{:<20}mend: {}\n", "", printable(mend));
  }
  return text.empty() ? "well\n" : text;
}

std::string gauge(std::string_view name, std::string_view help, double value) {
  return fmt::format("# HELP ksbeacon_{0} {1}\n# TYPE ksbeacon_{0} gauge\nksbeacon_{0} {2}\n", name,
                     help, value);
}

std::string moment(std::string_view name, std::string_view help, const std::optional<Date>& date) {
  return date ? gauge(name, help, secondsSince1970(*date)) : "";
}

/// One sample for each of the counts, under the label `label`.
template <class Counts>
std::string labelled(std::string_view name, std::string_view help, std::string_view label,
                     const Counts& counts, std::string_view type = "gauge") {
  std::string text =
      fmt::format("# HELP ksbeacon_{0} {1}\n# TYPE ksbeacon_{0} {2}\n", name, help, type);
  for (const auto& [value, count] : counts) {
    text += fmt::format("ksbeacon_{}{{{}=\"{}\"}} {}\n", name, label, value, count);
  }
  return counts.empty() ? "" : text;
}

std::string statisticsMetrics(const ks::StatsLedger& ledger) {
  std::map<std::string, std::int64_t> fates{{"made", ledger.made},
                                            {"waiting", ledger.waiting},
                                            {"sent", ledger.sent},
                                            {"refused", ledger.refused},
                                            {"dropped", ledger.droppedCount()}};
  return labelled("statistics", "Statistics by what became of them.", "fate", fates);
}

}  // namespace

std::string healthText(const Dictionary& health, bool colours) {
  std::string text = ailmentsIn(health, colours) + "\n";
  if (health.contains("started")) text += line("started", startOf(health));
  text += line("permission", textOf(health["permission"]));
  text += line("portal", repliesOf(health));
  if (health.contains("zonesKnown")) {
    text += line("zones", fmt::format("{} known; {} regions monitored, {} refused",
                                      health["zonesKnown"].integerValue(),
                                      health["regionsMonitored"].integerValue(),
                                      health["regionsRefused"].integerValue()));
  }
  text += line("last beacon", ageOf(health["lastPacketAge"]));
  text += line("last position", ageOf(health["lastFixAge"]));
  text += line("packets", counted(health, "advertisements", "heard",
                                  {{"matchedBeacons", "of wanted beacons"},
                                   {"skippedElements", "malformed"},
                                   {"replacedPowers", "with a power that no beacon has"},
                                   {"sharedIdentities", "identities of two senders"},
                                   {"untrackedBeacons", "beacons too many"},
                                   {"evictedBeacons", "forgotten to make room"}}));
  text += line("fixes", counted(health, "fixes", "came",
                                {{"rejectedFixes", "refused"},
                                 {"tooSmallCircles", "geofences smaller than their uncertainty"}}));
  text += line("Bluetooth", textOf(health["adapter"]));
  if (health["receiverGain"].isNumber()) {
    text += line("receiver gain", fmt::format("{:g} dB", health["receiverGain"].doubleValue()));
  }
  text += line("statistics", statisticsOf(health));
  if (health.contains("cacheWritable")) {
    text +=
        line("cache folder", health["cacheWritable"].boolValue() ? "takes files" : "takes none");
  }
  if (health.contains("clockJumps")) {
    text += line("clock", fmt::format("set {} times", health["clockJumps"].integerValue()));
  }
  text += line("running since", dateOf(health["since"]));
  return text;
}

std::string healthMetrics(const ks::Health& health) {
  std::string text = fmt::format(
      "# HELP ksbeacon_info The program's version.\n# TYPE ksbeacon_info gauge\n"
      "ksbeacon_info{{version=\"{}\"}} 1\n",
      kVersion);
  text += gauge("well", "1 when nothing is wrong.", health.isWell() ? 1 : 0);
  text += gauge("started", "1 while the library runs.", health.started ? 1 : 0);
  text += moment("start_timestamp_seconds", "When the library was made.", health.since);
  text += moment("update_timestamp_seconds", "When this was written.", health.now);
  std::map<std::string, std::string> replies;
  for (const auto& [kind, date] : health.lastReply) {
    replies[kind] = fmt::to_string(secondsSince1970(date));
  }
  text +=
      labelled("last_reply_timestamp_seconds", "The portal's last good reply.", "kind", replies);
  text +=
      gauge("zones", "Beacon and geofence zones known.", static_cast<double>(health.zonesKnown));
  text += gauge("regions_monitored", "Regions that the device monitors.",
                static_cast<double>(health.regionsMonitored));
  text += gauge("regions_refused", "Regions that the device refused.",
                static_cast<double>(health.regionsRefused.size()));
  text += moment("last_beacon_timestamp_seconds", "Last ranged beacon.", health.lastPacket);
  text += moment("last_position_timestamp_seconds", "Last position.", health.lastFix);
  text += gauge("clock_jumps", "How often the wall clock was set.", health.clockJumps);
  text += gauge("cache_writable", "1 when the cache folder takes files.",
                health.isCacheWritable ? 1 : 0);
  if (health.receiverGain)
    text += gauge("receiver_gain_db", "Receiver gain.", *health.receiverGain);
  text += labelled("input_total", "What became of packets and fixes, by kind.", "kind",
                   health.counters, "counter");
  if (health.statistics) text += statisticsMetrics(*health.statistics);
  std::map<std::string, int> ailments;
  for (const ks::Ailment& ailment : health.ailments) ailments[ailment.reason] = 1;
  return text + labelled("ailment", "What is wrong, by reason.", "reason", ailments);
}

}  // namespace ks::tool
