#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "tests/Support/FakeURLLoadingSystem.h"

namespace ks::test {

/// A simulated device whose portal is the test, and a client of it at https://portal.test/app.
class PortalTest : public ::testing::Test {
 protected:
  struct Report {
    KSContentDownloadType type;
    std::optional<ks::Records> result;
    std::optional<Dictionary> metaData;
    std::optional<Error> error;
  };

  PortalTest() {
    SimulatedPlatformOptions options;
    options.urlLoadingSystem = http;
    platform = std::make_shared<SimulatedPlatform>(options);
    http->setDelegateQueue(platform->makeQueue());
    Platform::install(platform);
    network = makeNetwork("user", "secret");
  }
  ~PortalTest() override {
    network.reset();
    Platform::install(nullptr);
  }

  std::shared_ptr<KSNetwork> makeNetwork(const std::string& username, const std::string& password) {
    return KSNetwork::initWithRootURL(*platform, {"https://portal.test/app"},
                                      platform->currentLocale(), username, password, "KSBeaconApp",
                                      [this](KSContentDownloadType type, const auto& result,
                                             const auto& metaData, const auto& error) {
                                        reports.push_back({type, result, metaData, error});
                                      });
  }

  /// Answers one waiting transfer and runs what follows; the number of reports that came.
  std::size_t answer(std::string_view urlPart, int status, std::string body) {
    const std::size_t before = reports.size();
    http->answer(urlPart, status, std::move(body));
    platform->runUntilIdle();
    return reports.size() - before;
  }

  std::shared_ptr<FakeURLLoadingSystem> http = std::make_shared<FakeURLLoadingSystem>();
  std::shared_ptr<SimulatedPlatform> platform;
  std::shared_ptr<KSNetwork> network;
  std::vector<Report> reports;
};

}  // namespace ks::test
