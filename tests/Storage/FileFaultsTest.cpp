#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <map>
#include <set>

#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"
#include "tests/Storage/SystemCalls.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks {

using test::readText;
using test::SystemCall;
using test::SystemCalls;
using ::testing::AnyOf;
using State = FileContent::State;

class FileFaultsTest : public ::testing::Test {
 protected:
  static Data bytesOf(char letter) { return Data(100000, static_cast<std::uint8_t>(letter)); }
  static std::string textOf(char letter) { return std::string(100000, letter); }
  std::ptrdiff_t fileCount() const {
    return std::distance(std::filesystem::directory_iterator(folder_.path()), {});
  }
  /// Runs `work` in a child process, and waits until it is dead.
  static void runInChild(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
      work();
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
  }

  test::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_ / "file";
  DiskFileStore store_;
};

TEST_F(FileFaultsTest, EachCallFailsOnceAndForEver) {
  for (const bool forEver : {false, true}) {
    bool struck = true;
    for (int nth = 1; struck; ++nth) {
      ASSERT_FALSE(store_.write(file_, bytesOf('o')));
      struck = false;
      bool unlinkFails = false;
      bool lastStep = false;
      std::optional<Error> error;
      {
        int calls = 0;
        const SystemCalls shim([&](const SystemCall& call) {
          struck = forEver ? ++calls >= nth : ++calls == nth;
          unlinkFails = unlinkFails || (struck && call.name == "unlink");
          lastStep = lastStep || (struck && call.name == "fsync" && call.path == folder_.path());
          return struck ? EIO : 0;
        });
        error = store_.write(file_, bytesOf('n'));
        struck = calls >= nth;
      }
      EXPECT_EQ(error.has_value(), struck) << nth;
      EXPECT_EQ(readText(file_), textOf(struck && !lastStep ? 'o' : 'n')) << nth;
      EXPECT_EQ(fileCount(), unlinkFails ? 2 : 1) << nth;
      removeUnfinishedFiles(folder_.path());
      EXPECT_EQ(fileCount(), 1);
    }
  }
}

TEST_F(FileFaultsTest, TellsUnreadableFromAbsent) {
  ASSERT_FALSE(store_.write(file_, bytesOf('o')));
  for (const int code : {EMFILE, ENFILE, EACCES, EIO, ENOMEM}) {
    for (const std::string name : {"open", "fstat", "read"}) {
      const SystemCalls shim([&](const SystemCall& call) { return call.name == name ? code : 0; });
      const FileContent content = store_.read(file_);
      EXPECT_EQ(content.state, State::unreadable) << name << code;
      EXPECT_NE(content.problem, "");
      EXPECT_TRUE(content.bytes.empty());
    }
  }
  EXPECT_EQ(store_.read(file_).bytes, bytesOf('o'));
}

/// After a power cut a disk holds every change before the last sync and any prefix of the later
/// changes of names; a file that was never synced holds any part of what was written.
TEST_F(FileFaultsTest, PowerCutsLeaveOldOrNew) {
  ASSERT_FALSE(store_.write(file_, bytesOf('o')));
  std::vector<SystemCall> log;
  std::map<std::size_t, char> reported = {{0, 'o'}};
  for (const char letter : {'a', 'b', 'c'}) {
    const SystemCalls shim([&](const SystemCall& call) {
      log.push_back(call);
      return 0;
    });
    ASSERT_FALSE(store_.write(file_, bytesOf(letter)));
    reported[log.size()] = letter;
  }
  for (std::size_t cut = 0; cut <= log.size(); ++cut) {
    std::map<std::string, std::string> written;
    std::set<std::string> synced;
    // By name change that may be on the disk: what the file would hold; the last sync comes first.
    std::vector<std::string> outcomes = {textOf('o')};
    for (std::size_t i = 0; i < cut; ++i) {
      const SystemCall& call = log[i];
      if (call.name == "write") written[call.path] += call.bytes;
      if (call.name == "fsync") synced.insert(call.path);
      if (call.name == "fsync" && call.path == folder_.path()) outcomes = {outcomes.back()};
      if (call.name == "rename")
        outcomes.push_back(synced.contains(call.path) ? written[call.path] : "torn");
    }
    const char last = std::prev(reported.upper_bound(cut))->second;
    EXPECT_EQ(outcomes.front(), textOf(last)) << "what was reported as written is there";
    for (const auto& outcome : outcomes) {
      EXPECT_THAT(outcome,
                  AnyOf(textOf(last), textOf(last == 'o' ? 'a' : static_cast<char>(last + 1))))
          << cut;
    }
  }
}

TEST_F(FileFaultsTest, KillsLeaveOldOrNew) {
  const auto isWhole = [&] {
    const std::string text = readText(file_);
    return text.size() == 100000 && text.find_first_not_of(text.front()) == std::string::npos;
  };
  ASSERT_FALSE(store_.write(file_, bytesOf('o')));
  for (int nth = 1; nth <= 8; ++nth) {
    int calls = 0;
    runInChild([&] {
      const SystemCalls shim(
          [&](const SystemCall&) { return ++calls == nth ? ::raise(SIGKILL) : 0; });
      (void)store_.write(file_, bytesOf('n'));
    });
    EXPECT_TRUE(isWhole()) << "killed at call " << nth;
  }
  removeUnfinishedFiles(folder_.path());
  EXPECT_EQ(fileCount(), 1);
}

}  // namespace ks
