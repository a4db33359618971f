#include "tools/ksbeacon/explanation/Explanation.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/explanation/RuleRemedy.h"

namespace ks::tool {

namespace {

using State = WhyLink::State;

const char* stateName(State state) {
  static constexpr const char* kNames[] = {"holds", "broken", "unknown"};
  return kNames[static_cast<std::size_t>(state)];
}

/// All that the chronicle knows of one content, or of one zone's.
class Explaining {
 public:
  Explaining(const Chronicle& chronicle, std::string subject, const KnownZones& known)
      : chronicle_(chronicle), subject_(std::move(subject)), known_(known) {
    for (const DocumentedZone& zone : known.zones) {
      if (zone.zone != subject_ && zone.content != subject_) continue;
      documented_.push_back(zone);
      contents_.insert(zone.content);
      names_.insert(zone.zone);
    }
    for (const auto& [name, zone] : chronicle_.zones()) {
      if (name != subject_ && zone.content != subject_) continue;
      names_.insert(name);
      contents_.insert(zone.content);
      add(zone);
    }
  }

  WhyAnswer answer() const;

 private:
  static void keepLater(std::optional<Seconds>& kept, const std::optional<Seconds>& at) {
    if (at && (!kept || *at > *kept)) kept = at;
  }
  void add(const Chronicle::Zone& zone) {
    const auto& decision = zone.decision;
    if (decision && (!zone_.decision || decision->at >= zone_.decision->at)) {
      zone_.decision = decision;
    }
    keepLater(zone_.fired, zone.fired);
    keepLater(zone_.announced, zone.announced);
    keepLater(zone_.shown, zone.shown);
    keepLater(zone_.told, zone.told);
  }
  bool isBeacon() const { return !documented_.empty() && !documented_.front().beacon.empty(); }
  /// Of its zones: the one that was heard last, kept back last, monitored.
  const Chronicle::Sighting* sighting() const;
  const Chronicle::Withheld* withheld() const;
  const Chronicle::Region* region() const;

  WhyLink portalLink() const;
  WhyLink startLink() const;
  WhyLink regionLink() const;
  WhyLink sightingLink() const;
  WhyLink deliveryLink() const;
  WhyLink rulesLink() const;
  std::string remedyFor(const std::string& link) const;
  std::string whyNoRegion() const;
  std::string remedyForSighting() const;
  std::string remedyForDelivery() const;
  std::string afterFiring() const;

  const Chronicle& chronicle_;
  std::string subject_;
  const KnownZones& known_;
  std::vector<DocumentedZone> documented_;
  std::set<std::string> contents_;
  std::set<std::string> names_;
  Chronicle::Zone zone_;
};

const Chronicle::Sighting* Explaining::sighting() const {
  const Chronicle::Sighting* last = nullptr;
  for (const DocumentedZone& zone : documented_) {
    const auto* const seen = chronicle_.sighting(zone.beacon);
    if (seen != nullptr && (last == nullptr || seen->at > last->at)) last = seen;
  }
  return last;
}

const Chronicle::Withheld* Explaining::withheld() const {
  const Chronicle::Withheld* last = nullptr;
  for (const DocumentedZone& zone : documented_) {
    const auto* const kept = chronicle_.withheld(zone.beacon);
    if (kept != nullptr && (last == nullptr || kept->at > last->at)) last = kept;
  }
  // Decided about since then, it has come.
  return last != nullptr && zone_.decision && zone_.decision->at > last->at ? nullptr : last;
}

const Chronicle::Region* Explaining::region() const {
  const Chronicle::Region* found = nullptr;
  for (const auto& each : chronicle_.regions()) {
    const std::string& name = each.first;
    const Chronicle::Region& region = each.second;
    const bool isOurs = std::ranges::any_of(documented_, [&](const DocumentedZone& zone) {
      if (zone.beacon.empty()) return name == zone.zone;
      return name.find(zone.beacon.substr(0, zone.beacon.find(':'))) != std::string::npos;
    });
    if (isOurs && (found == nullptr || (region.isMonitored && !found->isMonitored))) {
      found = &region;
    }
  }
  return found;
}

WhyLink Explaining::portalLink() const {
  const bool hasContent =
      std::ranges::any_of(contents_, [](const std::string& name) { return !name.empty(); });
  if (!names_.empty() && hasContent) {
    return {"portal", State::holds,
            fmt::format("the portal has {} at zone {}", subject_, *names_.begin())};
  }
  if (!known_.areAll) {
    return {"portal", State::unknown,
            documented_.empty()
                ? fmt::format("none of the {} zones that the device was sent names it",
                              known_.zones.size())
                : "the device was sent the zone, and no content for it"};
  }
  if (!documented_.empty()) {
    return {"portal", State::broken, "zone " + subject_ + " has no content"};
  }
  return {"portal", State::broken, "no document of the portal names " + subject_};
}

WhyLink Explaining::startLink() const {
  const Chronicle::Device& device = chronicle_.device();
  if (!device.isStarted.value_or(false)) return {"start", State::broken, device.startText};
  const std::string& permission = device.permission;
  if (!permission.empty() && permission != "always" && permission != "whenInUse") {
    return {"start", State::broken, "the location permission is " + permission};
  }
  return {"start", State::holds, device.startText};
}

WhyLink Explaining::regionLink() const {
  const Chronicle::Region* const region = this->region();
  // Whatever the engine decided about must have been heard of.
  if (documented_.empty() || (region == nullptr && zone_.decision)) {
    if (zone_.decision) return {"region", State::holds, "its region was heard of"};
    return {"region", State::unknown, "nothing is known of its region"};
  }
  if (region != nullptr && region->failure) {
    return {"region", State::broken,
            fmt::format("its region cannot be monitored: error {}", *region->failure)};
  }
  if (region == nullptr || !region->monitored) {
    return {"region", State::broken, "its region was never monitored"};
  }
  if (!region->isMonitored) return {"region", State::broken, "its region is no longer monitored"};
  return {"region", State::holds,
          "its region is monitored since " + timelineMoment(*region->monitored)};
}

WhyLink Explaining::sightingLink() const {
  if (const Chronicle::Sighting* const seen = sighting()) {
    std::string text = fmt::format("its beacon was last heard at {}, {}", timelineMoment(seen->at),
                                   seen->proximity);
    if (seen->distance >= 0) text += fmt::format(", {:.1f} m away", seen->distance);
    return {"sighting", State::holds, std::move(text)};
  }
  const Chronicle::Region* const region = this->region();
  if (!isBeacon() && region != nullptr && region->entered) {
    return {"sighting", State::holds,
            "its circle was entered at " + timelineMoment(*region->entered)};
  }
  if (zone_.decision) return {"sighting", State::holds, "the device was there"};
  if (documented_.empty()) return {"sighting", State::unknown, "nothing is known of its zone"};
  return {"sighting", State::broken,
          isBeacon() ? "its beacon was never heard" : "its circle was never entered"};
}

WhyLink Explaining::deliveryLink() const {
  if (const Chronicle::Withheld* const kept = withheld()) {
    return {"delivery", State::broken, kept->text + " at " + timelineMoment(kept->at)};
  }
  if (zone_.decision) return {"delivery", State::holds, "the device has its content"};
  const std::string& filter = chronicle_.device().filter;
  return {"delivery", State::unknown,
          filter.empty() ? "nothing is known of its delivery"
                         : "the portal was asked for contents with " + filter};
}

WhyLink Explaining::rulesLink() const {
  if (!zone_.decision) return {"rules", State::broken, "no event of its zone reached its rules"};
  const bool isMet = zone_.decision->kind == TimelineKind::trigger;
  return {"rules", isMet ? State::holds : State::broken,
          zone_.decision->text + " at " + timelineMoment(zone_.decision->at)};
}

WhyAnswer Explaining::answer() const {
  WhyAnswer answer;
  answer.links = {portalLink(),   startLink(),    regionLink(),
                  sightingLink(), deliveryLink(), rulesLink()};
  const auto moment = [](const char* name, const char* verb, const std::optional<Seconds>& at) {
    return WhyLink{
        name, at ? State::holds : State::broken,
        at ? fmt::format("{} at {}", verb, timelineMoment(*at)) : fmt::format("not {}", verb)};
  };
  answer.links.push_back(moment("announcement", "announced", zone_.announced));
  answer.links.push_back(moment("screen", "shown", zone_.shown));
  std::optional<Seconds> opened;
  for (const std::string& content : contents_) keepLater(opened, chronicle_.opened(content));
  answer.links.push_back(moment("opening", "opened by the user", opened));
  answer.links.push_back(moment("statistic", "told to the portal", zone_.told));
  answer.fired = rulesLink().state == State::holds && withheld() == nullptr;
  if (answer.fired) {
    answer.conclusion =
        fmt::format("{} fired at {}{}.", subject_, timelineMoment(*zone_.fired), afterFiring());
    return answer;
  }
  const auto broken = std::ranges::find(answer.links, State::broken, &WhyLink::state);
  std::string remedy = remedyFor(broken->name);
  if (zone_.fired) remedy += "; it fired last at " + timelineMoment(*zone_.fired);
  answer.conclusion = fmt::format("{} would fire {}.", subject_, remedy);
  return answer;
}

/// What did not follow from firing.
std::string Explaining::afterFiring() const {
  if (!zone_.shown) return "; it would be seen if a notification of it were shown";
  const std::string& trouble = chronicle_.device().statisticTrouble;
  if (!zone_.told && !trouble.empty()) return "; the portal was not told: " + trouble;
  return "";
}

std::string Explaining::remedyFor(const std::string& link) const {
  if (link == "portal") {
    return documented_.empty() ? "if a document of the portal named it"
                               : "if the portal gave its zone a content";
  }
  if (link == "start") return "if the library worked: " + startLink().text;
  if (link == "region") return "if the device monitored its region" + whyNoRegion();
  if (link == "sighting") return remedyForSighting();
  if (link == "delivery") return remedyForDelivery();
  if (zone_.decision) return remedyForRule(*zone_.decision);
  if (documented_.empty()) return "if the portal sent it to this device: " + portalLink().text;
  const Chronicle::Device& device = chronicle_.device();
  if (device.isNetworkOff) return "if its content had come: the network cannot be used";
  if (!device.portalTrouble.empty()) return "if its content had come: " + device.portalTrouble;
  return "if its zone were entered or left while its content is known" +
         (device.filter.empty() ? "" : ": " + deliveryLink().text);
}

/// Why the device does not watch the place, with a colon before; empty when that is not known.
std::string Explaining::whyNoRegion() const {
  const Chronicle::Device& device = chronicle_.device();
  const Chronicle::Region* const region = this->region();
  if (region != nullptr && region->failure) return ": " + regionLink().text;
  if (device.isRadioOff && isBeacon()) return ": Bluetooth cannot be used";
  if (device.isNetworkOff) return ": the network cannot be used";
  if (!device.portalTrouble.empty()) return ": " + device.portalTrouble;
  if (!device.lastFix) return ": no position has come";
  return region != nullptr ? ": it is far from there" : "";
}

std::string Explaining::remedyForSighting() const {
  const Chronicle::Device& device = chronicle_.device();
  if (isBeacon()) {
    return device.isRadioOff ? "if Bluetooth could be used"
                             : "if the device heard its beacon " + documented_.front().beacon;
  }
  return device.lastFix ? "if the device entered its circle; its last position came at " +
                              timelineMoment(*device.lastFix)
                        : "if the device knew its position: none has come";
}

std::string Explaining::remedyForDelivery() const {
  const Chronicle::Withheld& kept = *withheld();
  return fmt::format("if the portal delivered it{}: {}",
                     kept.hasReasons ? " under these settings" : "", kept.text);
}

}  // namespace

WhyAnswer explain(const Chronicle& chronicle, const std::string& subject, const KnownZones& known) {
  return Explaining(chronicle, subject, known).answer();
}

Dictionary whyDetails(const WhyAnswer& answer) {
  std::vector<Value> links;
  for (const WhyLink& link : answer.links) {
    links.push_back(
        Dictionary{{"link", link.name}, {"state", stateName(link.state)}, {"text", link.text}});
  }
  return {{"fired", answer.fired},
          {"links", Array(std::move(links))},
          {"conclusion", answer.conclusion}};
}

std::string whyText(const Dictionary& details) {
  const auto text = [](const Dictionary& from, const char* name) {
    return from[name].stringValue().value_or("");
  };
  std::string lines;
  const Array* const links = details["links"].array();
  for (const Value& item : links != nullptr ? links->items : std::vector<Value>{}) {
    const Dictionary* const link = item.dictionary();
    if (link == nullptr) continue;
    const std::string state = text(*link, "state");
    lines += fmt::format("{:<13} {:<4} {}\n", text(*link, "link"),
                         state == "holds"    ? "yes"
                         : state == "broken" ? "NO"
                                             : "?",
                         printable(text(*link, "text")));
  }
  return lines + printable(text(details, "conclusion")) + "\n";
}

}  // namespace ks::tool
