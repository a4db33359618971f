#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

// Real services of positions for tests. The end-to-end use, for whatever runs on the same bus:
//
//   PrivateBus bus;                             // before anything uses a bus
//   if (!RealGeoClue::reasonNotTo().empty()) GTEST_SKIP() << RealGeoClue::reasonNotTo();
//   NmeaTrack walk("unix");
//   RealGeoClue geoClue(walk, "org.ksbeacon.ksbeacon");   // the application's bundle identifier
//   geoClue.start();
//   geoClue.startAgent();
//   ChildProcess host({"ksbeacon", "run", ...});          // inherits the bus's address
//   walk.follow({{45.0700, 7.6868}, {45.0701, 7.6868}, {45.0702, 7.6868}});   // one a second
//   geoClue.setLevel(0);                                   // the user's privacy switch
//   geoClue.stop();                                        // and start() again

/// A place, and the receiver's dilution of precision: up to 1 GeoClue reports the least
/// uncertainty, up to 5 3 m, up to 10 50 m, up to 20 100 m, beyond 300 m.
struct TrackPoint {
  double latitude = 0;
  double longitude = 0;
  double dilution = 0.9;
};

/// A satellite receiver that moves, behind a socket. It has no fix until it is told to follow a
/// track, stays at the track's end, and is where the track begins when another is given.
class NmeaTrack {
 public:
  /// `kind` is "unix" or "tcp".
  explicit NmeaTrack(const std::string& kind, double reportsPerSecond = 1);
  /// One point per report; without any the fix is lost.
  void follow(const std::vector<TrackPoint>& points);
  /// The path, or the port.
  const std::string& address() const { return address_; }

 private:
  TemporaryFolder folder_;
  std::string address_;
  ChildProcess server_;
};

/// The machine's GeoClue on the test's bus, in mount and network namespaces of its own, with the
/// track as its only source.
class RealGeoClue {
 public:
  /// Why it cannot be run here; empty when it can.
  static std::string reasonNotTo();

  RealGeoClue(const NmeaTrack& track, std::string desktopId);
  /// Each returns when the service or the agent is there.
  bool start();
  void stop() { service_.end(); }
  /// Instead of `start`: whoever asks for the service starts it.
  void offer(PrivateBus& bus) const;
  /// Nobody gets a client before there is an agent; `level` 0 permits nothing.
  bool startAgent(int level = 8);
  /// The user's privacy switch.
  bool setLevel(int level);
  /// Whether anybody uses positions.
  bool isInUse() const;

 private:
  std::vector<std::string> command() const;

  TemporaryFolder folder_;
  ChildProcess service_;
  ChildProcess agent_;
};

/// The machine's gpsd at a port of its own, reading a track of kind "tcp".
class RealGpsd {
 public:
  explicit RealGpsd(const NmeaTrack& track);
  /// Returns when it listens.
  void start();
  void stop() { daemon_.end(); }
  std::uint16_t port() const { return port_; }

 private:
  std::string source_;
  std::uint16_t port_;
  ChildProcess daemon_;
};

/// A port of the loopback interface at which nobody listened a moment ago.
std::uint16_t freePort();

}  // namespace ks::test
