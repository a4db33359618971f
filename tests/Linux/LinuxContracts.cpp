#include <glib.h>

#include <memory>

#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"
#include "tests/Contract/PlatformContract.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

namespace {

class LinuxUnderTest : public PlatformUnderTest {
 public:
  explicit LinuxUnderTest(bool connectServices = false) : connectServices_(connectServices) {}
  LinuxPlatform& platform() override { return *platform_; }
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
    options.connectServices = connectServices_;
    return std::make_unique<LinuxPlatform>(options);
  }

  const bool connectServices_;
  TemporaryFolder folder_;
  std::unique_ptr<LinuxPlatform> platform_ = make();
};

/// With a stand-in of the desktop's notification service.
class LinuxWithDesktop : public PlatformUnderTest {
 public:
  LinuxWithDesktop() {
    const auto* center = device_.platform().linuxNotificationCenter();
    EXPECT_TRUE(runLoopUntil(
        [&] { return center->state().detail.find("shown by Stand-in") != std::string::npos; }));
  }
  Platform& platform() override { return device_.platform(); }
  void runFor(Seconds span) override { device_.runFor(span); }
  void restart() override { device_.restart(); }

 private:
  PrivateBus bus_;
  ChildProcess service_{{"/usr/bin/python3", "-m", "dbusmock", "--session", "--template",
                         script("notifications.py").string()}};
  LinuxUnderTest device_{true};
};

const auto kLinux =
    testing::Values(PlatformParameter{"linux", [] { return std::make_unique<LinuxUnderTest>(); }});
const auto kDesktop = testing::Values(
    PlatformParameter{"desktop", [] { return std::make_unique<LinuxWithDesktop>(); }});

}  // namespace

INSTANTIATE_TEST_SUITE_P(Linux, DispatchQueueContract, kLinux);
INSTANTIATE_TEST_SUITE_P(Linux, NotificationCenterContract, kLinux);
INSTANTIATE_TEST_SUITE_P(Linux, UserDefaultsContract, kLinux);
INSTANTIATE_TEST_SUITE_P(Linux, ApplicationContract, kLinux);
INSTANTIATE_TEST_SUITE_P(Linux, UserNotificationCenterContract, kDesktop);

}  // namespace ks::test
