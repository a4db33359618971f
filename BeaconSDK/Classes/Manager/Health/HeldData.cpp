#include "BeaconSDK/Classes/Manager/Health/HeldData.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Archives/AutocodingException.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Common/KSSteadyClock.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks::HeldData {

namespace {

namespace fs = std::filesystem;
using ks::NSFileManagerHelpers::cacheFilePath;

constexpr const char* kDefaultsKeys[] = {KSEngineState::kLastLocationsRefreshDateKey,
                                         KSEngineState::kErrorHappenedKey,
                                         KSSteadyClock::kDefaultsKey};
/// Records refer to contents and schedules, no deeper; a damaged file may make circles.
constexpr int kDeepest = 16;
/// One block of the usual file systems.
constexpr std::size_t kProbeSize = 4096;

fs::path archives() { return cacheFilePath("KSProximityManager"); }

ks::Value plain(const ks::Value& value, int depth);

ks::Value plainItems(const std::vector<ks::Value>& items, int depth) {
  ks::Array list;
  for (const ks::Value& item : items) list.items.push_back(plain(item, depth));
  return list;
}

ks::Dictionary plainMembers(const ks::Dictionary& members, int depth) {
  ks::Dictionary result;
  for (const auto& [key, value] : members) result.set(key, plain(value, depth));
  return result;
}

ks::Value plain(const ks::Value& value, int depth) {
  if (depth > kDeepest) return ks::Null{};
  if (const ks::Date* const date = value.date()) return ks::secondsSince1970(*date);
  if (const ks::UUID* const uuid = value.uuid()) return uuid->UUIDString();
  if (const ks::Data* const data = value.data()) {
    return ks::NSDataBase64::base64EncodedString(std::string(data->begin(), data->end()));
  }
  if (const ks::Array* const array = value.array()) return plainItems(array->items, depth + 1);
  if (const ks::Set* const set = value.set()) return plainItems(set->items, depth + 1);
  if (const auto* const members = value.dictionary()) return plainMembers(*members, depth + 1);
  if (const auto object = value.object()) {
    ks::Dictionary record{{"class", value.className()}};
    const auto members = ks::NSObjectAutoCoding::dictionaryRepresentation(*object);
    for (const auto& [key, member] : members) record.set(key, plain(member, depth + 1));
    return record;
  }
  return value.isAbsent() ? ks::Value(ks::Null{}) : value;
}

/// Null when the file is no archive.
ks::Value contentOf(const fs::path& file) {
  const auto bytes = ks::readFile(file);
  if (!bytes) return ks::Null{};
  try {
    ks::NSKeyedUnarchiver archive(*bytes);
    ks::Value root = archive.decodeObjectForKey(ks::NSKeyedArchiveRootObjectKey);
    if (root.isAbsent()) root = archive.decodeObjectForKey(KSSettingsManager::kEnabledKey);
    return plain(root, 0);
  } catch (const ks::AutocodingException&) {
    return ks::Null{};
  }
}

/// The regular files below `folder`, in the order of their paths.
std::vector<fs::path> filesBelow(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    if (entry->is_regular_file(unknown)) files.push_back(entry->path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void list(ks::Array& entries, const fs::path& folder, bool withContent) {
  const fs::path caches = ks::Platform::current().directories().caches;
  for (const fs::path& file : filesBelow(folder)) {
    std::error_code ignored;
    ks::Dictionary entry{{"file", file.lexically_relative(caches).string()},
                         {"bytes", static_cast<std::int64_t>(fs::file_size(file, ignored))}};
    if (withContent) entry.set("content", contentOf(file));
    entries.items.emplace_back(std::move(entry));
  }
}

}  // namespace

ks::Dictionary all() {
  ks::Array files;
  list(files, archives(), true);
  list(files, KSNetwork::cachePath(ks::Platform::current()), false);
  ks::Dictionary defaults;
  for (const char* const key : kDefaultsKeys) {
    const ks::Value value = ks::Platform::current().userDefaults().objectForKey(key);
    if (!value.isAbsent()) defaults.set(key, plain(value, 0));
  }
  return {{"files", std::move(files)}, {"defaults", std::move(defaults)}};
}

void purge() {
  for (const fs::path& file : filesBelow(archives())) {
    std::error_code ignored;
    fs::remove(file, ignored);
  }
  removeDocuments();
  ks::NSUserDefaults& defaults = ks::Platform::current().userDefaults();
  for (const char* const key : kDefaultsKeys) defaults.setObject(key, {});
  defaults.synchronize();
}

void removeDocuments() {
  // A session may still want to write there: its lock and its key stay.
  for (const fs::path& file : filesBelow(KSNetwork::cachePath(ks::Platform::current()))) {
    std::error_code ignored;
    const std::string name = file.filename();
    if (!name.starts_with('.') && name != "key") fs::remove(file, ignored);
  }
}

bool canWrite() {
  const fs::path file = archives() / "probe.tmp";
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << std::string(kProbeSize, ' ') << std::flush;
  const bool isWritten = stream.good();
  stream.close();
  std::error_code ignored;
  fs::remove(file, ignored);
  return isWritten;
}

}  // namespace ks::HeldData
