#pragma once

#include "tools/ksbeacon/options/NumberOption.h"

namespace ks::tool {

/// "--receiver-gain DB": how much stronger than usual this machine's Bluetooth receives.
inline CLI::Option* addReceiverGainOption(CLI::App& command, double& gain) {
  return command
      .add_option("--receiver-gain", gain,
                  "How much stronger than usual Bluetooth receives, in dB; see scan --calibrate")
      ->type_name("DB")
      ->check(numberBetween(-40.0, 40.0));
}

}  // namespace ks::tool
