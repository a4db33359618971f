#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// Keeps the facts of a timeline that decide whether contents fire: about the device, its regions,
/// beacons and zones.
///
/// Memory grows with the number of different regions, beacons and zones, not with the length of the
/// day; each is limited to `kMostNames`. Call `note` with the events in their order.
class Chronicle {
 public:
  static constexpr std::size_t kMostNames = 10'000;

  struct Device {
    /// Absent before the launch.
    std::optional<bool> isStarted;
    std::string startText = "the library was not started";
    /// The last value that the application reported; empty if none.
    std::string permission;
    bool isRadioOff = false;
    bool isNetworkOff = false;
    std::optional<Seconds> lastFix;
    /// Describes the last request for a document, and the last statistic, if it failed; empty if
    /// it succeeded.
    std::string portalTrouble;
    std::string statisticTrouble;
    /// What the last request for zones said of the user: "categories 1 off, tag language=it"; empty
    /// if nothing.
    std::string filter;
  };
  struct Region {
    std::optional<Seconds> monitored;
    bool isMonitored = false;
    /// Last entry.
    std::optional<Seconds> entered;
    std::optional<std::int64_t> failure;
  };
  struct Sighting {
    Seconds at{0};
    /// "near", ...
    std::string proximity;
    /// In metres; negative if unknown.
    double distance = -1;
  };
  /// The portal returned no content for a beacon.
  struct Withheld {
    Seconds at{0};
    std::string text;
    /// True if tags or disabled categories were sent along.
    bool hasReasons = false;
  };
  struct Zone {
    std::string content;
    /// Last decision about its content.
    std::optional<TimelineEvent> decision;
    std::optional<Seconds> fired;
    std::optional<Seconds> announced;
    std::optional<Seconds> shown;
    /// When the portal accepted the statistic of the notification.
    std::optional<Seconds> told;
  };

  void note(const TimelineEvent& event);

  const Device& device() const { return device_; }
  /// Keyed by the location service's identifiers.
  const std::map<std::string, Region>& regions() const { return regions_; }
  /// Key: "UUID:major:minor". Returns null if there is none.
  const Sighting* sighting(const std::string& beacon) const;
  const Withheld* withheld(const std::string& beacon) const;
  /// Keyed by the portal's identifiers.
  const std::map<std::string, Zone>& zones() const { return zones_; }
  /// Returns whether a content waits for its dwelling time to pass.
  bool isDwelling(Seconds now) const;
  /// Returns when the user last opened the content.
  std::optional<Seconds> opened(const std::string& content) const;

 private:
  void noteApplication(const TimelineEvent& event);
  void noteRegion(const TimelineEvent& event);
  void noteRanging(const TimelineEvent& event);
  void noteDecision(const TimelineEvent& event);
  void noteNotification(const TimelineEvent& event);
  void noteTransfer(const TimelineEvent& event);

  Device device_;
  std::map<std::string, Region> regions_;
  std::map<std::string, Sighting> sightings_;
  std::map<std::string, Withheld> withheld_;
  std::map<std::string, Zone> zones_;
  std::map<std::string, Seconds> opened_;
};

}  // namespace ks::tool
