#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Units.h"
#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPositions.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPropagation.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"
#include "tools/ksbeacon/scenario/Population.h"

namespace ks::tool {

/// A day in the life of a simulated device: the world, the walk, what the application does, and
/// what is expected to happen. docs/scenarios.md describes the file form. Moments are seconds after
/// `start`.
struct Scenario {
  struct Credentials {
    std::string username;
    std::string password;
  };

  struct Portal {
    /// The folder of the documents that the embedded portal serves.
    std::filesystem::path documents;
    /// What the portal asks for.
    Credentials credentials;
  };

  struct Application {
    std::string bundleIdentifier = "com.example.simulated";
    /// Becomes active right after `start`; else it lives in the background.
    bool foreground = true;
    /// Has each announced content shown as a local notification.
    bool showsNotifications = true;
    /// What the application hands to the library; the portal's own unless the scenario says so.
    Credentials credentials;
    std::vector<std::pair<std::string, std::string>> tags;
    /// Switched off before the library starts its first synchronisation.
    std::vector<std::string> disabledCategories;
    ks::Refinements refinements;
  };

  struct Beacon {
    /// What the timeline calls it.
    std::string name;
    SimulatedBeacon radio;
  };

  struct Walk {
    /// At least the place where the device begins.
    std::vector<SimulatedWaypoint> stops;
    SimulatedPositionErrors errors;
    /// Spans without position fixes.
    std::vector<DateInterval> outages;
  };

  /// What happens to the application at a moment.
  struct Event {
    enum class Kind {
      becomeActive,
      resignActive,
      backgroundFetch,
      backgroundTransfer,
      setPermission,
      setTag,
      deleteTag,
      clearTags,
      enableCategory,
      disableCategory,
      restart,
      moveClock,
      retry,
      reset,
      openContent,
      showNotification,
      setClock,
      setTimeZone,
      setBluetooth,
      setNetwork,
      setDocuments,
      setBattery,
      reloadBeacons,
      look,
    };
    Seconds at{0};
    Kind kind = Kind::becomeActive;
    /// The device to which it happens, of several; empty: each.
    std::string device{};
    /// The tag, the category, the content, the time zone or the beacon.
    std::string name{};
    /// The tag's value.
    std::string value{};
    CLAuthorizationStatus permission = CLAuthorizationStatus::authorizedAlways;
    /// How long the process stays dead.
    Seconds downtime{0};
    /// How far ahead the wall clock is set; negative: back.
    Seconds by{0};
    /// What the wall clock is set to.
    Date date{};
    /// Whether Bluetooth or the network can be used from now on.
    bool on = false;
    /// The folder of the portal's new documents.
    std::filesystem::path documents{};
    /// The beacon's battery, as sent.
    std::uint8_t level = 0;
  };

  /// What the portal does wrong from a moment on, until another.
  struct Fault {
    enum class Kind {
      status,
      truncate,
      notJson,
      drop,
      cutChunk,
      notModified,
      maxAge,
      latency,
      slow
    };
    Seconds from{0};
    Seconds to{0};
    /// The beginning of the request paths that suffer, after the root: "/beacons"; empty for all.
    std::string path;
    Kind kind = Kind::status;
    int status = 500;
    /// How long replies say that they may be kept, how late they are, or how far apart their
    /// pieces.
    Seconds span{0};
  };

  /// One line of the plan that the timeline is held against.
  struct Expectation {
    enum class Subject {
      content,
      statistic,
      refusal,
      request,
      shown,
      // What a look finds.
      entered,
      engine,
      ailment,
    };
    Subject subject = Subject::content;
    /// The content's identifier, "beacons/enter", the name of the rule, how the request's path
    /// begins, the zone whose notification the user sees or that is entered, "running", or a reason
    /// of `ks::AilmentReason`.
    std::string name;
    /// The portal's identifier of the zone, but for requests; empty for any.
    std::string zone;
    /// The battery level that a statistic carries.
    std::optional<int> battery;
    Seconds from{0};
    Seconds to{0};
    /// Only when the scenario is run with refinements, or only when without; empty: always.
    std::optional<bool> refined;
    /// 0 for never; empty for at least once.
    std::optional<int> times;
    /// Where the scenario file says so.
    int line = 0;
    /// How the timestamp of a statistic ends: "+0200"; empty for any.
    std::string timestamp{};
    /// The device that is looked at, of several; empty for any.
    std::string device{};
  };

  std::filesystem::path file;
  std::string title;
  /// Its name among several.
  std::string device;
  Date start;
  std::string timeZone = "UTC";
  std::string language = "en";
  std::string country = "US";
  Seconds until{0};
  std::uint64_t seed = 1;
  CLAuthorizationStatus permission = CLAuthorizationStatus::authorizedAlways;
  Portal portal;
  Application application;
  /// How fast signals fade: 2 in free space.
  double pathLossExponent = 2;
  SimulatedPropagation radio;
  std::vector<Beacon> beacons;
  Walk walk;
  std::vector<Event> events;
  std::vector<Fault> faults;
  std::vector<Expectation> expectations;
  std::optional<Population> population;
  /// The days of several devices in this world, each as if it were alone; empty: there is one, the
  /// scenario's own.
  std::vector<Scenario> devices;
};

/// "anna, ben".
std::string deviceNames(const Scenario& scenario);

/// "becomeActive", ...: in the order of the events' kinds.
const std::vector<std::string>& eventNames();

/// The rules that a refusal can name: "repeatDelay", ...
const std::vector<std::string>& refusalNames();

/// What the portal can be told: "beacons/enter", ...
const std::vector<std::string>& statisticNames();

/// "running", "starting", "stopped".
const std::vector<std::string>& engineStateNames();

/// "always", "denied", ...: in the order of the platform's numbers.
const std::vector<std::string>& permissionNames();
std::string permissionName(CLAuthorizationStatus status);

}  // namespace ks::tool
