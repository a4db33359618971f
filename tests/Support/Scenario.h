#pragma once

#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Manager/KSProximityManager.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "tests/Support/FakeURLLoadingSystem.h"
#include "tests/Support/ScriptedLocationServices.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks::testing {

inline const UUID kSiteUUID = *UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");
inline const std::string kSiteRegion = "region:11223344-5566-4778-8899-AABBCCDDEEFF_0_0";
inline constexpr CLLocationCoordinate2D kHome{45.07, 7.68};

/// A zone as the portal would describe it; a beacon of the site's UUID and major 1.
struct PortalZone {
  std::string id = "b1";
  int minor = 1;
  std::string contentId = "c1";
  std::string type = "PUSH_TEXT";
  std::string notifyOn = "ENTER";
  /// "NEAR", ...; any other text: everywhere.
  std::string proximity = "";
  double repeatDelay = 0;
  double dwellingTime = 0;
  int eventsNeeded = 0;
  double eventsInterval = 0;
  /// Empty: none.
  std::string category = "shoes";
  std::string manufacturerId = "";

  std::string beacon() const;
  std::string geofence() const;

 private:
  std::string content() const;
};

/// One device, its user and its portal, told as a story. Everything runs in virtual time on the
/// calling thread; every verb has run its consequences when it returns.
class Scenario : public ks::EngineObserver {
 public:
  explicit Scenario(SimulatedPlatformOptions options = {});
  ~Scenario() override;

  // The application.
  void launches();
  /// The process dies and begins anew on the same folders.
  void relaunches();
  /// Starts, with the portal knowing the category "shoes".
  void starts();
  /// Starts at home, where the portal knows the site's beacons.
  void startsAtSite();

  // The device.
  void passes(double seconds) { device->advance(Seconds{seconds}); }
  /// Somebody sets the wall clock: by so many seconds ahead, or back.
  void setsClock(double by);
  /// The device sleeps for so long: its uptime and its timers stand still.
  void sleeps(double seconds);
  void movesTo(CLLocationCoordinate2D place);
  void hearsNothing() { ranges({}); }
  /// The site's beacon is ranged, 3 s after whatever was before.
  void sees(int minor, CLProximity proximity = CLProximity::near);
  void ranges(const std::vector<CLBeacon>& beacons);
  /// The location service tells the state of a monitored region.
  void determines(CLRegionState state, const std::string& identifier = kSiteRegion);
  void crossesInto(const std::string& identifier);
  void crossesOutOf(const std::string& identifier);

  // The portal.
  void portalAnswers(std::string_view urlPart, std::string body);
  void portalRefuses(std::string_view urlPart, int status);
  void portalFails(std::string_view urlPart);
  /// Refuses whatever is still asked.
  void portalRefusesAll();
  /// Sees the zone's beacon for the first time and has the portal say what it is.
  void learns(const PortalZone& zone);
  bool isAsked(std::string_view urlPart) const { return http->isWaitingFor(urlPart); }

  // What came of it; each forgets what it has told.
  /// "trigger b1", "locations", "zones L1".
  std::vector<std::string> heard() { return std::exchange(heard_, {}); }
  /// "beacons/enter b1" with "battery N" where one was sent.
  std::vector<std::string> statistics();
  /// "fired", "refused 1" (the verdict's rule), "dwelling started", ...
  std::vector<std::string> decisions() { return std::exchange(decisions_, {}); }
  /// "withheld UUID:major:minor", "login refused", "stay 3 s" (how far apart
  /// the bounds of a stay's end are).
  std::vector<std::string> told() { return std::exchange(told_, {}); }
  std::vector<std::string> filesWritten() { return std::exchange(files_, {}); }
  /// A line of the trace or the console ends like this.
  bool logged(std::string_view ending);

  std::shared_ptr<KSPrivateBeacon> beacon(std::string_view identifier = "b1") const;
  Date now() const { return device->clock().now(); }

  std::shared_ptr<ScriptedLocationServices> location = std::make_shared<ScriptedLocationServices>();
  std::shared_ptr<test::FakeURLLoadingSystem> http = std::make_shared<test::FakeURLLoadingSystem>();
  std::shared_ptr<SimulatedPlatform> device;
  NSURL portal{"https://portal.test/app"};
  /// What the next launch asks for, and what its user permits.
  ks::Refinements refinements;
  ks::Consent consent;
  std::shared_ptr<KSProximityManager> manager;
  /// What the last start answered: nothing yet, "" for success, or the error's text.
  std::optional<std::string> startResult;

 private:
  class ClockPlatform;

  void installDevice(Date start);
  void triggerDecided(const ks::TriggerDecision& decision) override;
  void cacheWritten(const ks::CacheWrite& write) override;
  void contentWithheld(const ks::ContentWithheld& withheld) override {
    told_.push_back("withheld " + withheld.beacon);
  }
  void loginRefused() override { told_.emplace_back("login refused"); }
  void stayEnded(const ks::StayEnd& end) override {
    told_.push_back("stay " +
                    std::to_string(std::lround(secondsBetween(end.earliest, end.latest))) + " s");
  }

  SimulatedPlatformOptions options_;
  /// What the library runs on: the device with a wall clock of its own.
  std::shared_ptr<ClockPlatform> installed_;
  double clockAhead_ = 0;
  test::TemporaryFolder root_;
  std::shared_ptr<ks::EngineObserver> self_;
  std::vector<NSNotificationCenter::Observation> observations_;
  std::vector<std::string> heard_;
  std::vector<std::string> decisions_;
  std::vector<std::string> files_;
  std::vector<std::string> told_;
};

/// A test that is a story from the first launch on.
class ScenarioTest : public ::testing::Test {
 protected:
  Scenario scenario;
};

}  // namespace ks::testing
