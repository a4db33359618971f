#include "tests/Linux/PositionServices.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <system_error>
#include <utility>

namespace ks::test {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPython = "/usr/bin/python3";
constexpr const char* kName = "org.freedesktop.GeoClue2";
constexpr const char* kGeoClue = "/usr/libexec/geoclue";
/// The only configuration that the service reads.
constexpr const char* kGeoClueConfiguration = "/etc/geoclue/geoclue.conf";
const fs::path kScripts = KS_TEST_FOLDER;

/// Runs the shell command in namespaces of its own, in which its user may mount.
std::vector<std::string> isolated(const std::string& command) {
  std::vector<std::string> arguments = {"unshare", "-m", "-n"};
  if (geteuid() != 0) arguments = {"unshare", "--map-current-user", "--keep-caps", "-m", "-n"};
  arguments.insert(arguments.end(), {"sh", "-c", command});
  return arguments;
}

std::string mounting(const fs::path& file) {
  return "mount --bind '" + file.string() + "' " + kGeoClueConfiguration;
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

bool answers(std::uint16_t port) {
  const int probe = socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = loopback(port);
  const bool connected =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(probe);
  return connected;
}

}  // namespace

std::uint16_t freePort() {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  bind(listener, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  close(listener);
  return ntohs(address.sin_port);
}

NmeaTrack::NmeaTrack(const std::string& kind, double reportsPerSecond)
    : address_(kind == "unix" ? (folder_.path() / "nmea.sock").string()
                              : std::to_string(freePort())) {
  follow({});
  server_ = ChildProcess({kPython, (kScripts / "nmea_track.py").string(), kind + ":" + address_,
                          (folder_.path() / "track").string(), std::to_string(reportsPerSecond)});
  runLoopUntil([&] { return fs::exists(folder_.path() / "track.ready"); });
}

void NmeaTrack::follow(const std::vector<TrackPoint>& points) {
  std::string text;
  for (const auto& [latitude, longitude, dilution] : points) {
    char line[64];
    std::snprintf(line, sizeof line, "%.7f %.7f %.1f\n", latitude, longitude, dilution);
    text += line;
  }
  writeText(folder_.path() / "next", text);
  fs::rename(folder_.path() / "next", folder_.path() / "track");
}

std::string RealGeoClue::reasonNotTo() {
  std::error_code ignored;
  if (!fs::exists(kGeoClue, ignored)) return "GeoClue is not installed";
  static const bool possible = run(isolated(mounting(kGeoClueConfiguration)));
  return possible ? "" : "the kernel lets this user have no mount and network namespaces";
}

RealGeoClue::RealGeoClue(const NmeaTrack& track, std::string desktopId) {
  // Even without Wi-Fi the service asks its server for a position: there is none at this address.
  writeText(
      folder_.path() / "geoclue.conf",
      "[agent]\nwhitelist=test-agent\n[network-nmea]\nenable=true\nnmea-socket=" + track.address() +
          "\n[3g]\nenable=false\n[cdma]\nenable=false\n[modem-gps]\nenable=false\n"
          "[wifi]\nenable=false\nurl=http://127.0.0.1:9/none\n[compass]\nenable=false\n[" +
          std::move(desktopId) + "]\nallowed=true\nsystem=false\nusers=\n");
}

std::vector<std::string> RealGeoClue::command() const {
  return isolated(mounting(folder_.path() / "geoclue.conf") + " && exec " + kGeoClue +
                  " --timeout=0");
}

void RealGeoClue::offer(PrivateBus& bus) const {
  std::string script = "#!/bin/sh\nexec";
  for (const std::string& argument : command()) script += " \"" + argument + "\"";
  const auto file = folder_.path() / "start";
  writeText(file, script + "\n");
  fs::permissions(file, fs::perms::owner_all);
  bus.offer(kName, file.string());
}

bool RealGeoClue::start() {
  service_ = ChildProcess(command());
  return run({"gdbus", "wait", "--system", kName, "--timeout", "60"});
}

bool RealGeoClue::startAgent(int level) {
  agent_ = ChildProcess({kPython, (kScripts / "geoclue_agent.py").string(), std::to_string(level)});
  return run({"gdbus", "wait", "--system", "test.GeoClueAgent", "--timeout", "60"});
}

bool RealGeoClue::setLevel(int level) {
  return run({"gdbus", "call", "--system", "-d", "test.GeoClueAgent", "-o",
              "/org/freedesktop/GeoClue2/Agent", "-m", "test.GeoClueAgent.SetLevel",
              std::to_string(level)});
}

bool RealGeoClue::isInUse() const {
  return run(
      {"sh", "-c",
       "gdbus call --system -d org.freedesktop.GeoClue2 -o /org/freedesktop/GeoClue2/Manager "
       "-m org.freedesktop.DBus.Properties.Get org.freedesktop.GeoClue2.Manager InUse "
       "| grep -q true"});
}

RealGpsd::RealGpsd(const NmeaTrack& track)
    : source_("tcp://127.0.0.1:" + track.address()), port_(freePort()) {
  start();
}

void RealGpsd::start() {
  daemon_ = ChildProcess({"/usr/sbin/gpsd", "-N", "-n", "-S", std::to_string(port_), source_});
  runLoopUntil([&] { return answers(port_); });
}

}  // namespace ks::test
