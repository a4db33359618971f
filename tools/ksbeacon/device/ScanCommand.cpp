#include "tools/ksbeacon/device/ScanCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "tools/ksbeacon/device/BeaconList.h"
#include "tools/ksbeacon/device/Calibration.h"
#include "tools/ksbeacon/device/ScanText.h"
#include "tools/ksbeacon/device/Services.h"
#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/options/ReceiverGainOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/Terminal.h"

namespace ks::tool {

namespace {

struct ScanArguments {
  double span = 0;
  double gain = 0;
  std::string uuid;
  bool calibrate = false;
  bool json = false;
};

constexpr Seconds kBetweenViews{1};

std::string checkUUID(const std::string& text) {
  return UUID::fromString(text) ? "" : "expected a UUID, got \"" + text + "\"";
}

/// Shows once a second what was heard: on a terminal the whole table, else a line for each beacon
/// that was heard since the last time.
class Scan {
 public:
  explicit Scan(const ScanArguments& arguments)
      : json_(arguments.json), live_(!arguments.json && outputIsTerminal()) {
    list_.setReceiverGain(Dbm{arguments.gain});
    if (!arguments.uuid.empty()) list_.setUUID(UUID::fromString(arguments.uuid));
    platform_.locationEngine().setAdvertisementListener([this](const Advertisement& heard) {
      ++packets_;
      list_.hear(heard, platform_.clock().uptime());
    });
    for (const int signal : {SIGINT, SIGTERM}) {
      machine_.loop().onSignal(signal, [this] { machine_.loop().quit(); });
    }
    tick();
  }
  Scan(const Scan&) = delete;
  Scan& operator=(const Scan&) = delete;
  ~Scan() { platform_.locationEngine().setAdvertisementListener(nullptr); }

  int run(std::optional<Seconds> span) {
    if (live_) std::cout << "\033[?1049h\033[?25l" << std::flush;
    if (span) {
      machine_.loop().runFor(*span);
    } else {
      machine_.loop().run();
    }
    show();
    if (live_) std::cout << "\033[?25h\033[?1049l" << std::flush;
    const ServiceState radio = machine_.bluetooth();
    if (radio.usable || packets_ > 0) return kSuccess;
    return complain(complaint(radio), kUnavailable);
  }

 private:
  void tick() {
    timer_.arm(platform_.mainQueue(), kBetweenViews, [this] {
      show();
      tick();
    });
  }

  void show() {
    const Seconds now = platform_.clock().uptime();
    const auto beacons = list_.beacons(now);
    if (live_) {
      showTable(beacons);
    } else {
      for (const HeardBeacon& beacon : beacons) {
        if (now - beacon.silence > lastView_) showLine(beacon);
      }
    }
    lastView_ = now;
    std::cout << std::flush;
    tellRadio();
  }

  void showTable(const std::vector<HeardBeacon>& beacons) {
    const TerminalSize size = outputSize();
    const ServiceState radio = machine_.bluetooth();
    std::string text = radio.usable ? "Bluetooth: " + radio.detail : complaint(radio);
    text = "\033[H" + printable(text).substr(0, size.columns) + "\033[K\n\033[K\n";
    for (std::string& line : beaconTable(beacons, std::max<std::size_t>(size.rows, 6) - 3)) {
      line.pop_back();
      text += line.substr(0, size.columns) + "\033[K\n";
    }
    std::cout << text << "\033[J";
  }

  void showLine(const HeardBeacon& beacon) {
    if (json_) {
      std::cout << beaconJson(beacon, platform_.clock().now()) << '\n';
      return;
    }
    if (!std::exchange(headed_, true)) std::cout << beaconHeading() << '\n';
    std::cout << beaconLine(beacon) << '\n';
  }

  /// Whoever waits for beacons learns why none comes.
  void tellRadio() {
    const ServiceState radio = machine_.bluetooth();
    const std::string text = radio.usable ? "" : complaint(radio);
    if (!live_ && text != told_ && !text.empty()) {
      warn(text + "; waiting");
    }
    told_ = text;
  }

  bool json_;
  bool live_;
  bool headed_ = false;
  std::uint64_t packets_ = 0;
  BeaconList list_;
  Seconds lastView_{0};
  std::string told_;
  MachineView machine_;
  LinuxPlatform& platform_ = machine_.platform();
  Wakeup timer_;
};

/// Long enough for `Calibration::kLeastPackets` of a beacon that sends once a second.
constexpr Seconds kCalibration{30};

/// Listens beside a beacon and says how this machine receives.
int calibrate(Seconds span, bool json) {
  MachineView machine;
  auto& engine = machine.platform().locationEngine();
  Calibration calibration;
  engine.setAdvertisementListener([&](const Advertisement& heard) { calibration.hear(heard); });
  for (const int signal : {SIGINT, SIGTERM}) {
    machine.loop().onSignal(signal, [&] { machine.loop().quit(); });
  }
  warn(fmt::format("listens for {:g} s; one beacon should stand 1 m away in the open",
                   span.count()));
  machine.loop().runFor(span);
  engine.setAdvertisementListener(nullptr);
  const auto result = calibration.result();
  if (const auto* const found = std::get_if<ReceiverMeasurement>(&result)) {
    std::cout << (json ? measurementJson(*found) : measurementText(*found)) << std::endl;
    return kSuccess;
  }
  const ServiceState radio = machine.bluetooth();
  if (!radio.usable) return complain(complaint(radio), kUnavailable);
  return complain(std::get<std::string>(result), kFailure);
}

}  // namespace

void addScanCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<ScanArguments>();
  CLI::App* const command = app.add_subcommand("scan", "Show the beacons around");
  command->footer(
      "Examples:\n"
      "  ksbeacon scan                            a live table, nearest first\n"
      "  ksbeacon scan --for 10 > beacons.txt     a line per beacon and second\n"
      "  ksbeacon scan --json | jq .distance      one JSON object per line\n"
      "  ksbeacon scan --calibrate                the receiver's gain, 1 m from one beacon\n"
      "RSSI is smoothed, raw is the last packet's, both in dBm. The interval is the mean time\n"
      "between packets, the battery's level what the beacon sends, 0 to 255. No portal is needed.\n"
      "Exit codes: 0 ended by its time or by Ctrl-C, 1 the gain could not be measured, 2 a wrong\n"
      "option, 3 Bluetooth cannot be used\n"
      "(ksbeacon doctor tells what to do).");
  command->add_option("--for", arguments->span, "End after so many seconds")
      ->type_name("SECONDS")
      ->check(numberBetween(0.1, 366.0 * 24 * 3600));
  command->add_option("--uuid", arguments->uuid, "Only beacons of this UUID")
      ->type_name("UUID")
      ->check(checkUUID);
  auto* const gain = addReceiverGainOption(*command, arguments->gain);
  command
      ->add_flag("--calibrate", arguments->calibrate,
                 "Measure the receiver's gain beside a beacon at 1 m, for 30 s unless given")
      ->excludes(gain);
  command->add_flag("--json", arguments->json, "One JSON object per line");
  command->callback([arguments, &code] {
    std::optional<Seconds> span;
    if (arguments->span > 0) span = Seconds{arguments->span};
    if (arguments->calibrate) {
      code = calibrate(span.value_or(kCalibration), arguments->json);
    } else {
      code = Scan(*arguments).run(span);
    }
  });
}

}  // namespace ks::tool
