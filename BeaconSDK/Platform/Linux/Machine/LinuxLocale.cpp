#include "BeaconSDK/Platform/Linux/Machine/LinuxLocale.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Linux/Machine/SystemFile.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

std::string localeOfEnvironment() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "";
}

/// The locale that a file of shell assignments names, `LC_MESSAGES` before `LANG`.
std::string localeOfSettings(const fs::path& file) {
  std::string language;
  std::string messages;
  std::istringstream lines(readSystemFile(file));
  for (std::string line; std::getline(lines, line);) {
    std::erase_if(line, [](char character) { return character == '"' || character == '\''; });
    if (line.starts_with("LANG=")) language = line.substr(5);
    if (line.starts_with("LC_MESSAGES=")) messages = line.substr(12);
  }
  return messages.empty() ? language : messages;
}

bool isCode(std::string_view text, std::size_t shortest, std::size_t longest) {
  return text.size() >= shortest && text.size() <= longest &&
         std::all_of(text.begin(), text.end(),
                     [](unsigned char character) { return std::isalnum(character) != 0; });
}

/// The zone's name within the time zone data: "Europe/Rome" of ".../zoneinfo/Europe/Rome".
std::string zoneOfPath(const std::string& path) {
  constexpr std::string_view kFolder = "zoneinfo/";
  const auto found = path.find(kFolder);
  if (found == std::string::npos) return "";
  std::string name = path.substr(found + kFolder.size());
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (name.starts_with(variant)) name.erase(0, variant.size());
  }
  return name;
}

/// Names a zone, rather than spelling out rules of its own as "CET-1CEST" does.
bool isZoneName(const std::string& text) {
  if (text.find('/') != std::string::npos) return text.find(',') == std::string::npos;
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char character) {
    return std::isalpha(character) != 0;
  });
}

}  // namespace

NSLocale localeFromName(std::string_view name) {
  name = name.substr(0, name.find_first_of(".@"));
  if (name == "C" || name == "POSIX") return {};
  const auto underscore = name.find('_');
  const std::string_view language = name.substr(0, underscore);
  if (!isCode(language, 2, 8)) return {};
  NSLocale locale;
  locale.languageCode = std::string(language);
  if (underscore == std::string_view::npos) return locale;
  const std::string_view country = name.substr(underscore + 1);
  if (isCode(country, 2, 3)) locale.countryCode = std::string(country);
  return locale;
}

LinuxLocale::LinuxLocale(fs::path systemRoot)
    : root_(std::move(systemRoot)),
      environment_(localeOfEnvironment()),
      settings_(findSettings()),
      locale_(
          localeFromName(environment_.empty() ? localeOfSettings(settings_.file) : environment_)) {}

LinuxLocale::Settings LinuxLocale::findSettings() const {
  for (const char* name : {"etc/locale.conf", "etc/default/locale"}) {
    struct stat found = {};
    const fs::path file = root_ / name;
    if (::stat(file.c_str(), &found) != 0) continue;
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    return {file, found.st_mtim.tv_sec * kNanoseconds + found.st_mtim.tv_nsec, found.st_ino};
  }
  return {};
}

NSLocale LinuxLocale::locale() const {
  const Settings settings = findSettings();
  const std::lock_guard lock(mutex_);
  if (settings != settings_) {
    settings_ = settings;
    const std::string name = localeOfSettings(settings.file);
    locale_ = localeFromName(name.empty() ? environment_ : name);
  }
  return locale_;
}

std::string LinuxLocale::timeZoneName() const {
  if (const char* const variable = std::getenv("TZ"); variable != nullptr && *variable != '\0') {
    const std::string value = *variable == ':' ? variable + 1 : variable;
    std::string name = value.starts_with('/') ? zoneOfPath(value) : value;
    if (isZoneName(name)) return name;
  }
  std::error_code error;
  const fs::path link = fs::read_symlink(root_ / "etc/localtime", error);
  if (!error) {
    if (std::string name = zoneOfPath(link.string()); !name.empty()) return name;
  }
  const std::string name = readFirstLine(root_ / "etc/timezone");
  return name.empty() ? "UTC" : name;
}

}  // namespace ks
