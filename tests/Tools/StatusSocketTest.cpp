#include <gmock/gmock.h>

#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "BeaconSDK/Platform/Common/WorkerQueue.h"
#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/status/StatusSocket.h"

namespace ks::tool {
namespace {

/// The socket's thread, a main queue on another, and callers on threads of their own.
class StatusSocketTest : public testing::Test {
 protected:
  ~StatusSocketTest() override { closes(); }
  Result<std::unique_ptr<StatusSocket>> opened() {
    return StatusSocket::open(path_, main_,
                              [this](const std::string&) { return std::to_string(++answers_); });
  }
  void opens() {
    main_.sync([this] { socket_ = std::move(opened().value()); });
  }
  void closes() {
    main_.sync([this] { socket_.reset(); });
  }
  static constexpr int kCallers = 4;

  /// Each asks until it gets no answer, at most so often.
  std::vector<std::thread> callers(int times) {
    std::vector<std::thread> threads;
    threads.reserve(kCallers);
    for (int caller = 0; caller < kCallers; ++caller) {
      threads.emplace_back([this, times] {
        for (int time = 0; time < times; ++time) {
          const auto reply = askService(path_);
          const std::lock_guard lock(mutex_);
          if (!reply || !replies_.insert(*reply).second) return;
        }
      });
    }
    return threads;
  }

  test::TemporaryFolder folder_;
  std::filesystem::path path_ = folder_.path() / "run/status.sock";
  WorkerQueue main_{"main"};
  std::unique_ptr<StatusSocket> socket_;
  /// Main queue only.
  int answers_ = 0;
  std::mutex mutex_;
  std::set<std::string> replies_;
};

TEST_F(StatusSocketTest, GivesEachCallerAnAnswerOfItsOwn) {
  opens();
  EXPECT_FALSE(opened()) << "another one listens there";
  for (std::thread& caller : callers(25)) caller.join();
  EXPECT_EQ(replies_.size(), 100U);
}

TEST_F(StatusSocketTest, ClosesWhileCallersWait) {
  for (int round = 0; round < 10; ++round) {
    opens();
    auto threads = callers(1000000);
    ASSERT_TRUE(askService(path_));
    closes();
    for (std::thread& caller : threads) caller.join();
    EXPECT_FALSE(std::filesystem::exists(path_));
  }
}

}  // namespace
}  // namespace ks::tool
