#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "tests/Linux/LinuxFixture.h"
#include "tools/ksbeacon/device/Password.h"

namespace ks::tool {
namespace {

using testing::HasSubstr;

std::string found(const Result<std::string>& password) {
  return password ? *password : "! " + password.error().localizedDescription();
}

TEST(PasswordTest, IsOneLineOfAPrivateFile) {
  const test::TemporaryFolder folder;
  const std::string file = folder.path() / "password";
  const struct {
    std::string content;
    mode_t mode;
    std::string answer;
  } cases[] = {
      {"secret\n", 0600, "secret"},
      {" two words\r\n", 0400, " two words"},
      {"secret", 0640,
       "! " + file + ": others may use the password (mode 0640); chmod 600 '" + file + "'"},
      {"secret", 0602,
       "! " + file + ": others may use the password (mode 0602); chmod 600 '" + file + "'"},
      {"\n", 0600, "! " + file + ": expected a password, got an empty file"},
      {"a\nb\n", 0600, "! " + file + ": expected a password on one line"},
      {std::string(5000, 'x'), 0600, "! " + file + ": longer than any password"},
  };
  for (const auto& each : cases) {
    std::filesystem::remove(file);
    test::writeText(file, each.content);
    chmod(file.c_str(), each.mode);
    EXPECT_EQ(found(readPasswordFile(file)), each.answer);
  }
  EXPECT_THAT(found(readPasswordFile(folder.path())), HasSubstr("expected a file"));
  EXPECT_THAT(found(readPasswordFile(folder.path() / "none")), HasSubstr("there is none"));
  // Reading one would wait for a writer.
  mkfifo((folder.path() / "fifo").c_str(), 0600);
  EXPECT_THAT(found(readPasswordFile(folder.path() / "fifo")), HasSubstr("expected a file"));
}

TEST(PasswordTest, IsLookedForInItsPlacesInOrder) {
  const test::TemporaryFolder folder;
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  PasswordSources sources{"kiosk", "https://portal.example.com/app", {}, ""};
  unsetenv("CREDENTIALS_DIRECTORY");
  EXPECT_THAT(found(findPassword(sources)), HasSubstr("kiosk: there is no password"));
  setenv("CREDENTIALS_DIRECTORY", folder.path().c_str(), 1);
  test::writeText(folder.path() / "ksbeacon.password", "usual\n");
  EXPECT_EQ(found(findPassword(sources)), "usual");
  sources.credential = "other";
  EXPECT_THAT(found(findPassword(sources)), HasSubstr("other: the service manager has given no"));
  test::writeText(folder.path() / "other", "named");
  EXPECT_EQ(found(findPassword(sources)), "named");
  sources.file = folder.path() / "file";
  EXPECT_THAT(found(findPassword(sources)), HasSubstr("expected a file"));
  unsetenv("CREDENTIALS_DIRECTORY");
}

TEST(PasswordTest, LiesInTheUsersSecretStore) {
  if (!test::run({"sh", "-c", "command -v gnome-keyring-daemon && command -v secret-tool"})) {
    GTEST_SKIP() << "no secret store is installed";
  }
  const test::PrivateBus bus;
  const test::TemporaryFolder home;
  const PasswordSources sources{"kiosk", "https://portal.example.com/app", {}, ""};
  EXPECT_THAT(found(findPassword(sources)), HasSubstr("no secret store is installed"));
  // It reads the key of a new store from its input.
  const test::ChildProcess store(
      {"bash", "-c",
       "export HOME=$0 XDG_RUNTIME_DIR=$0; exec gnome-keyring-daemon --foreground --unlock "
       "--components=secrets < <(printf key)",
       home.path().string()});
  ASSERT_TRUE(
      test::run({"gdbus", "wait", "--session", "org.freedesktop.secrets", "--timeout", "60"}));
  EXPECT_THAT(found(findPassword(sources)), HasSubstr("holds no such secret"));
  ASSERT_TRUE(test::run({"sh", "-c",
                         "printf s3cret | secret-tool store --label=ksbeacon application ksbeacon "
                         "portal https://portal.example.com/app user kiosk"}));
  EXPECT_EQ(found(findPassword(sources)), "s3cret");
  EXPECT_THAT(found(findPassword({"other", sources.portalURL, {}, ""})),
              HasSubstr("holds no such secret"));
}

}  // namespace
}  // namespace ks::tool
