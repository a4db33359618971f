#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace ks::testing {

/// Tests that need a device: a simulated one in virtual time, standing at its fixed start.
class PlatformFixture : public ::testing::Test {
 protected:
  explicit PlatformFixture(SimulatedPlatformOptions options = {})
      : platform_(std::make_shared<SimulatedPlatform>(std::move(options))) {
    Platform::install(platform_);
  }
  ~PlatformFixture() override { Platform::install(nullptr); }

  Date now() const { return platform_->clock().now(); }
  void advance(double seconds) { platform_->advance(Seconds{seconds}); }

  std::shared_ptr<SimulatedPlatform> platform_;
};

}  // namespace ks::testing
