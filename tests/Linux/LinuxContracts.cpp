#include <glib.h>

#include <memory>

#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "tests/Contract/PlatformContract.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

namespace {

class LinuxUnderTest : public PlatformUnderTest {
 public:
  Platform& platform() override { return *platform_; }
  /// Ends when also the workers have done what was due.
  void runFor(Seconds span) override {
    bool over = false;
    DispatchQueue& main = platform_->mainQueue();
    DispatchQueue& global = platform_->globalQueue();
    main.after(span, [&] { global.async([&] { main.async([&] { over = true; }); }); });
    while (!over) g_main_context_iteration(nullptr, TRUE);
  }
  void restart() override {
    platform_.reset();
    platform_ = make();
  }

 private:
  std::unique_ptr<LinuxPlatform> make() const {
    LinuxPlatformOptions options;
    options.folders =
        LinuxFolders{{folder_.path() / "caches", folder_.path() / "documents", {}}, folder_.path()};
    options.connectServices = false;
    return std::make_unique<LinuxPlatform>(options);
  }

  TemporaryFolder folder_;
  std::unique_ptr<LinuxPlatform> platform_ = make();
};

const auto kLinux =
    testing::Values(PlatformParameter{"linux", [] { return std::make_unique<LinuxUnderTest>(); }});

}  // namespace

INSTANTIATE_TEST_SUITE_P(Linux, DispatchQueueContract, kLinux);
INSTANTIATE_TEST_SUITE_P(Linux, NotificationCenterContract, kLinux);
INSTANTIATE_TEST_SUITE_P(Linux, UserDefaultsContract, kLinux);
INSTANTIATE_TEST_SUITE_P(Linux, ApplicationContract, kLinux);

// Needs a notification service.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(UserNotificationCenterContract);

}  // namespace ks::test
