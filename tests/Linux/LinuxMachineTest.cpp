#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Linux/Machine/LinuxConsole.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxDevice.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxLocale.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

namespace fs = std::filesystem;
using testing::Pair;

namespace {

unsigned modeOf(const fs::path& path) {
  struct stat found = {};
  return ::stat(path.c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
}

/// Sets a variable, or removes it, for as long as it lives.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* const before = std::getenv(name)) before_ = before;
    set(value);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { set(before_ ? before_->c_str() : nullptr); }

 private:
  void set(const char* value) const {
    if (value != nullptr) {
      setenv(name_, value, 1);
    } else {
      unsetenv(name_);
    }
  }
  const char* name_;
  std::optional<std::string> before_;
};

std::pair<std::string, std::string> codes(const NSLocale& locale) {
  return {locale.languageCode.value_or("-"), locale.countryCode.value_or("-")};
}

}  // namespace

TEST(LinuxFoldersTest, FollowTheUsersVariables) {
  const TemporaryFolder home;
  const Variable variables[] = {{"HOME", home.path().c_str()},
                                {"XDG_CACHE_HOME", "relative/is/ignored"},
                                {"XDG_DATA_HOME", nullptr},
                                {"XDG_STATE_HOME", "/var/state"}};
  const LinuxFolders folders = xdgFolders("../com.example/app");
  EXPECT_EQ(folders.directories.caches, home.path() / ".cache/_.._com.example_app");
  EXPECT_EQ(folders.directories.documents, home.path() / ".local/share/_.._com.example_app");
  EXPECT_EQ(folders.state, "/var/state/_.._com.example_app");
}

TEST(LinuxFoldersTest, BelongToTheOwnerAlone) {
  const TemporaryFolder root;
  const fs::path caches = root.path() / "new/below/caches";
  const fs::path state = root.path() / "open";
  fs::create_directory(state);
  fs::permissions(state, fs::perms::all);
  fs::path temporary;
  {
    writeText(state / "MonitoredRegions.7-1.tmp", "left by a killed process");
    const PrivateFolders folders({{caches, root.path() / "documents", {}}, state});
    temporary = folders.folders().directories.temporary;
    EXPECT_TRUE(stateOf(folders).usable);
    for (const fs::path& folder : {caches, caches.parent_path(), state, temporary}) {
      EXPECT_EQ(modeOf(folder), 0700U) << folder;
    }
    EXPECT_FALSE(fs::exists(state / "MonitoredRegions.7-1.tmp"));
    const PrivateFolders second(folders.folders());
    EXPECT_FALSE(stateOf(second).usable);
    EXPECT_NE(stateOf(second).detail.find(std::to_string(getpid())), std::string::npos);
    writeText(temporary / "picture", "of this run");
  }
  EXPECT_TRUE(fs::is_empty(temporary));
  writeText(root.path() / "file", "in the way");
  const PrivateFolders refused({{root.path() / "file", state, state}, state});
  EXPECT_FALSE(stateOf(refused).usable);
  EXPECT_NE(stateOf(refused).mend, "");
}

TEST(LinuxDeviceTest, VendorIdentifierTellsNothing) {
  const std::string machine = "0123456789abcdef0123456789abcdef";
  const auto identifier = vendorIdentifier(machine, "com.acme.kiosk");
  ASSERT_TRUE(identifier);
  // HMAC-SHA256 of "com.acme" under the machine's identifier, computed apart.
  EXPECT_EQ(identifier->UUIDString(), "39D96466-71CC-8742-9A81-90CA4A7410EE");
  EXPECT_EQ(vendorIdentifier(machine, "com.acme.gateway"), identifier);
  EXPECT_NE(vendorIdentifier(machine, "com.other.kiosk"), identifier);
  for (const std::string text : {"", "uninitialized", "00000000000000000000000000000000",
                                 "0123456789abcdef0123456789abcdeg"}) {
    EXPECT_EQ(vendorIdentifier(text, "com.acme.kiosk"), std::nullopt) << text;
  }
}

TEST(LinuxDeviceTest, DescribesTheMachine) {
  const TemporaryFolder root;
  const fs::path state = root.path() / "state";
  const LinuxDevice bare(root.path(), state, "com.acme.kiosk");
  EXPECT_NE(bare.systemVersion(), "") << "the kernel's";
  EXPECT_EQ(modeOf(state / "identifier"), 0600U);
  EXPECT_EQ(LinuxDevice(root.path(), state, "com.acme.kiosk").identifierForVendor(),
            bare.identifierForVendor());
  writeText(root.path() / "etc/os-release", "NAME=x\nVERSION_ID=\"12\"\nID=debian\n");
  writeText(root.path() / "etc/machine-id", "0123456789abcdef0123456789abcdef\n");
  const LinuxDevice known(root.path(), state, "com.acme.kiosk");
  EXPECT_EQ(known.systemVersion(), "12");
  EXPECT_NE(known.identifierForVendor(), bare.identifierForVendor());
  EXPECT_FALSE(known.isAdvertisingTrackingEnabled());
}

TEST(LinuxLocaleTest, ReadsLocaleNames) {
  const std::vector<std::tuple<const char*, const char*, const char*>> cases = {
      {"it_IT.UTF-8", "it", "IT"}, {"de_CH@euro", "de", "CH"}, {"eo", "eo", "-"},
      {"C.UTF-8", "-", "-"},       {"POSIX", "-", "-"},        {"", "-", "-"},
      {"es_419", "es", "419"},     {"../etc", "-", "-"},       {"en_../", "en", "-"},
  };
  for (const auto& [name, language, country] : cases) {
    EXPECT_THAT(codes(localeFromName(name)), Pair(language, country)) << name;
  }
}

TEST(LinuxLocaleTest, FollowsChangesWhileRunning) {
  const TemporaryFolder root;
  const Variable variables[] = {{"LC_ALL", nullptr}, {"LC_MESSAGES", "de_DE.UTF-8"}, {"TZ", ""}};
  writeText(root.path() / "etc/default/locale", "LANG=en_US.UTF-8\n");
  writeText(root.path() / "etc/timezone", "Europe/Rome\n");
  const LinuxLocale locale(root.path());
  EXPECT_THAT(codes(locale.locale()), Pair("de", "DE"));
  EXPECT_EQ(locale.timeZoneName(), "Europe/Rome");

  writeText(root.path() / "etc/locale.conf", "LANG=\"fr_FR.UTF-8\"\n");
  fs::create_symlink("/usr/share/zoneinfo/posix/America/Lima", root.path() / "etc/localtime");
  EXPECT_THAT(codes(locale.locale()), Pair("fr", "FR"));
  EXPECT_EQ(locale.timeZoneName(), "America/Lima");
  const Variable zone("TZ", ":Asia/Tokyo");
  EXPECT_EQ(locale.timeZoneName(), "Asia/Tokyo");
  const Variable rules("TZ", "CET-1CEST");
  EXPECT_EQ(locale.timeZoneName(), "America/Lima");
}

TEST(LinuxConsoleTest, PrefixesEachLine) {
  const TemporaryFolder root;
  const fs::path file = root.path() / "out";
  const int out = ::open(file.c_str(), O_CREAT | O_WRONLY, 0600);
  struct stat found = {};
  ASSERT_EQ(::fstat(out, &found), 0);
  LinuxConsole("kiosk", out).log("one\ntwo\x1B[31m\xC2\x9B\xE2\x80\xAE");
  const std::string prefix = "kiosk[" + std::to_string(::getpid()) + "]: ";
  EXPECT_EQ(readText(file), prefix + "one\n" + prefix + "two [31m  \n");
  const std::string stream = std::to_string(found.st_dev) + ":" + std::to_string(found.st_ino);
  const Variable journal("JOURNAL_STREAM", stream.c_str());
  LinuxConsole("kiosk", out).log("three");
  EXPECT_THAT(readText(file), testing::EndsWith("\n<6>three\n"));
  ::close(out);
}

}  // namespace ks::test
