#include "BeaconSDK/Platform/Storage/FileUserDefaults.h"

#include <utility>

#include "BeaconSDK/Platform/Storage/NewFile.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"
#include "BeaconSDK/Platform/Storage/ValueText.h"

namespace ks {

namespace {

/// The library keeps two small values; a host may keep many more.
constexpr std::size_t kLongestFile = std::size_t{16} * 1024 * 1024;

}  // namespace

FileUserDefaults::FileUserDefaults(std::filesystem::path file, Console& console)
    : file_(std::move(file)), console_(console) {
  read();
}

FileUserDefaults::~FileUserDefaults() { synchronize(); }

bool FileUserDefaults::read() {
  FileContent content = store_.read(file_, kLongestFile);
  if (content.state == FileContent::State::unreadable) {
    console_.log("User defaults are not there yet: " + content.problem);
    return false;
  }
  isRead_ = true;
  if (content.state == FileContent::State::absent) return true;
  const auto value = valueFromText(std::string(content.bytes.begin(), content.bytes.end()));
  if (!value || value->dictionary() == nullptr) {
    const std::string problem =
        content.problem.empty() ? "'" + file_.string() + "' is damaged" : content.problem;
    console_.log("User defaults begin empty: " + problem + " and " + store_.setAside(file_));
    return true;
  }
  for (const auto& [key, stored] : *value->dictionary()) {
    if (!newerKeys_.contains(key)) values_.set(key, stored);
  }
  newerKeys_.clear();
  return true;
}

Value FileUserDefaults::objectForKey(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  return values_[key];
}

void FileUserDefaults::setObject(std::string_view key, Value value) {
  const std::lock_guard lock(mutex_);
  if (!isRead_) newerKeys_.emplace(key);
  isChanged_ = true;
  if (value.isAbsent()) {
    values_.erase(key);
  } else {
    values_.set(std::string(key), std::move(value));
  }
}

bool FileUserDefaults::synchronize() {
  const std::lock_guard lock(mutex_);
  if (!isChanged_) return true;
  if (!isRead_ && !read()) return false;
  const auto text = valueToText(Value(values_));
  if (!text || makePrivateFolder(file_.parent_path())) return false;
  if (store_.write(file_, bytesOf(*text))) return false;
  isChanged_ = false;
  return true;
}

}  // namespace ks
