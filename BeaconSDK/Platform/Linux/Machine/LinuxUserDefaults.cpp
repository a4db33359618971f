#include "BeaconSDK/Platform/Linux/Machine/LinuxUserDefaults.h"

#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Linux/Machine/PrivateFile.h"
#include "BeaconSDK/Platform/Linux/Machine/PropertyListText.h"

namespace ks {

namespace {

/// The library keeps two small values; a host may keep many more.
constexpr std::size_t kLongestFile = std::size_t{16} * 1024 * 1024;

}  // namespace

LinuxUserDefaults::LinuxUserDefaults(std::filesystem::path file, Console& console)
    : file_(std::move(file)) {
  read(console);
}

LinuxUserDefaults::~LinuxUserDefaults() { synchronize(); }

void LinuxUserDefaults::read(Console& console) {
  std::error_code error;
  if (!std::filesystem::exists(file_, error)) return;
  const auto text = readFileUpTo(file_, kLongestFile);
  auto values = text ? propertyListFromText(*text) : std::nullopt;
  if (values) {
    values_ = *std::move(values);
    return;
  }
  auto damaged = file_;
  damaged += ".damaged";
  std::filesystem::rename(file_, damaged, error);
  console.log("User defaults begin empty: " + file_.string() + " is damaged and " +
              (error ? "cannot be set aside" : "was kept as " + damaged.string()));
}

Value LinuxUserDefaults::objectForKey(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  return values_[key];
}

void LinuxUserDefaults::setObject(std::string_view key, Value value) {
  const std::lock_guard lock(mutex_);
  if (value.isAbsent()) {
    changed_ = values_.erase(key) || changed_;
  } else {
    values_.set(std::string(key), std::move(value));
    changed_ = true;
  }
}

bool LinuxUserDefaults::synchronize() {
  const std::lock_guard lock(mutex_);
  if (!changed_) return true;
  const auto text = propertyListText(values_);
  if (!text || !writePrivateFile(file_, *text)) return false;
  changed_ = false;
  return true;
}

}  // namespace ks
