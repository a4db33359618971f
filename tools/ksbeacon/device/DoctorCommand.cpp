#include "tools/ksbeacon/device/DoctorCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "BeaconSDK/Platform/Linux/Machine/SecretStore.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "tools/ksbeacon/device/Services.h"
#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/output/Terminal.h"

namespace ks::tool {

namespace {

/// Wants of every service what the library would want, so that each tells how it really stands.
class Examination {
 public:
  Examination() {
    LinuxPlatform& platform = machine_.platform();
    platform.locationEngine().setAdvertisementListener([](const Advertisement&) {});
    locations_ = platform.locationServices().makeLocationManager();
    locations_->startUpdatingLocation();
    lookAgain();
  }
  Examination(const Examination&) = delete;
  Examination& operator=(const Examination&) = delete;
  ~Examination() { machine_.platform().locationEngine().setAdvertisementListener(nullptr); }

  std::vector<ServiceState> examine(Seconds patience) {
    machine_.loop().runFor(patience);
    return machine_.services();
  }

 private:
  /// Ends early when there is nothing to wait for.
  void lookAgain() {
    constexpr Seconds kBetweenLooks{0.1};
    timer_.arm(machine_.platform().mainQueue(), kBetweenLooks, [this] {
      if (std::ranges::all_of(machine_.services(), &ServiceState::usable)) machine_.loop().quit();
      lookAgain();
    });
  }

  MachineView machine_;
  std::unique_ptr<CLLocationManager> locations_;
  Wakeup timer_;
};

void printText(const ServiceState& state, bool colours) {
  const char* const colour = !colours ? "" : state.usable ? "\033[32m" : "\033[31m";
  std::cout << fmt::format("{}{:<8}{}{:<14}{}\n", colour, state.usable ? "ok" : "missing",
                           colours ? "\033[0m" : "", state.name, printable(state.detail));
  if (!state.mend.empty()) std::cout << fmt::format("{:22}mend: {}\n", "", printable(state.mend));
}

void printJson(const ServiceState& state) {
  std::cout << jsonText(Dictionary{{"service", state.name},
                                   {"usable", state.usable},
                                   {"reason", state.usable ? Value(Null{}) : reasonFor(state)},
                                   {"detail", state.detail},
                                   {"mend", state.mend.empty() ? Value(Null{}) : state.mend}})
            << '\n';
}

int examine(Seconds patience, bool json) {
  std::vector<ServiceState> states = Examination().examine(patience);
  const bool runs = couldRun(states);
  states.push_back(SecretStore::state());
  for (const ServiceState& state : states) {
    if (json) {
      printJson(state);
    } else {
      printText(state, outputTakesColours());
    }
  }
  if (runs) return kSuccess;
  return complain("the library could not run: it needs its folders, and Bluetooth or positions",
                  kUnavailable);
}

}  // namespace

void addDoctorCommand(CLI::App& app, int& code) {
  struct Arguments {
    double patience = 3;
    bool json = false;
  };
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command =
      app.add_subcommand("doctor", "Tell what of this machine is ready, and how to mend the rest");
  command->footer(
      "Examples:\n"
      "  ksbeacon doctor               each service, and the one command that mends it\n"
      "  ksbeacon doctor --json        one JSON object per service\n"
      "Exit codes: 0 the library can run, perhaps without some services; 2 a wrong option; 3 it\n"
      "could not run: its folders cannot be written, or there are neither Bluetooth nor "
      "positions.");
  command
      ->add_option("--wait", arguments->patience,
                   "Seconds that services have to answer; less when all are ready sooner")
      ->type_name("SECONDS")
      ->check(numberBetween(0.1, 600.0))
      ->capture_default_str();
  command->add_flag("--json", arguments->json, "One JSON object per line");
  command->callback(
      [arguments, &code] { code = examine(Seconds{arguments->patience}, arguments->json); });
}

}  // namespace ks::tool
