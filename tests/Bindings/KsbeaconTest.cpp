#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <ksbeacon/ksbeacon.hpp>
#include <thread>
#include <utility>

#include "tests/Support/TemporaryFolder.h"

namespace ks::test {

using testing::HasSubstr;

namespace {

const std::string kDemo = KS_SOURCE_DIR "/examples/scenarios/demo.json";

ksbeacon::Application application() {
  ksbeacon::Application application;
  application.portalURL = "http://127.0.0.1:9/app";
  application.bundleIdentifier = "org.example.test";
  return application;
}

}  // namespace

TEST(KsbeaconTest, ExceptionsOfHandlersComeOutOfTheCall) {
  const TemporaryFolder folder;
  ksbeacon::Handlers handlers;
  bool hasThrown = false;
  handlers.onEvent = [&](const ksbeacon::Event&) {
    if (!std::exchange(hasThrown, true)) throw std::domain_error("handler");
  };
  auto device = ksbeacon::Device::embedded(application(), handlers, folder.path().string());
  device.start();
  EXPECT_THROW(while (device.runOnce(1000)){}, std::domain_error);
  EXPECT_NO_THROW(device.runOnce(0));
  EXPECT_THROW(ksbeacon::runScenario(kDemo, handlers.onEvent), ksbeacon::Error) << "one device";
}

TEST(KsbeaconTest, CallbacksMayCallTheDevice) {
  const TemporaryFolder folder;
  ks_device* device = nullptr;
  std::vector<ks_status> answers;
  struct Host {
    ks_device*& device;
    std::vector<ks_status>& answers;
  } host{device, answers};
  ks_application who{};
  who.size = sizeof(who);
  who.portal_url = "http://127.0.0.1:9/app";
  who.bundle_identifier = "org.example.test";
  ks_callbacks callbacks{};
  callbacks.size = sizeof(callbacks);
  callbacks.user_data = &host;
  callbacks.event = [](void* data, const ks_event*) {
    const auto& [of, answers] = *static_cast<Host*>(data);
    answers = {ks_set_tag(of, "shoes", "42"), ks_run_once(of, 0, nullptr), ks_destroy(of)};
  };
  ASSERT_EQ(ks_create_embedded(&who, &callbacks, folder.path().c_str(), nullptr, &device), KS_OK);
  ASSERT_EQ(ks_start(device), KS_OK);
  for (int turn = 0; turn < 50 && answers.empty(); ++turn) ks_run_once(device, 100, nullptr);
  EXPECT_THAT(answers, testing::ElementsAre(KS_OK, KS_ERROR_STATE, KS_ERROR_STATE));
  std::thread([&] { EXPECT_EQ(ks_destroy(device), KS_ERROR_THREAD); }).join();
  EXPECT_EQ(ks_destroy(device), KS_OK);
}

TEST(KsbeaconTest, TellsWhatAilsItAndForgetsAllOnRequest) {
  const TemporaryFolder folder;
  const auto holdsTags = [&] {
    const std::filesystem::recursive_directory_iterator files(folder.path());
    return std::any_of(begin(files), end(files),
                       [](const auto& file) { return file.path().filename() == "KSAppTags.dat"; });
  };
  std::string told;
  ksbeacon::Handlers handlers;
  handlers.onHealth = [&](bool isAiling, const std::string& json) { told = isAiling ? json : ""; };
  auto device = ksbeacon::Device::embedded(application(), handlers, folder.path().string());
  device.start();
  for (int turn = 0; turn < 200 && told.empty(); ++turn) device.runOnce(1000);
  EXPECT_THAT(told, HasSubstr(R"("ailments":[{"reason":"notStarted")"));
  device.setTag("shoes", "42");
  for (int turn = 0; turn < 200 && !holdsTags(); ++turn) device.runOnce(100);
  EXPECT_TRUE(holdsTags());
  device.purge();
  EXPECT_FALSE(holdsTags());
}

TEST(KsbeaconTest, StructuresOfOtherVersionsAreRead) {
  struct Newer {
    ks_scenario_options known{};
    std::uint64_t later = 7;
  } newer;
  newer.known.size = sizeof(newer);
  newer.known.until = 5;
  EXPECT_EQ(ks_run_scenario(kDemo.c_str(), &newer.known, nullptr, nullptr, nullptr), KS_OK);
  ks_scenario_result older{};
  older.size = offsetof(ks_scenario_result, met);
  older.met = 77;
  EXPECT_EQ(ks_run_scenario(kDemo.c_str(), nullptr, nullptr, nullptr, &older), KS_OK);
  EXPECT_EQ(older.expectations, 8U);
  EXPECT_EQ(older.met, 77U) << "beyond the caller's structure";
  ks_scenario_options unsized{};
  EXPECT_EQ(ks_run_scenario(kDemo.c_str(), &unsized, nullptr, nullptr, nullptr), KS_ERROR_ARGUMENT);
  EXPECT_THAT(ks_last_error(), HasSubstr("size"));
}

}  // namespace ks::test
