#include "BeaconSDK/Classes/Manager/Zones/KSCacheFolder.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"

namespace {

std::filesystem::path folderPath() {
  return ks::NSFileManagerHelpers::cacheFilePath("KSProximityManager");
}

}  // namespace

bool KSCacheFolder::create() {
  std::error_code error;
  std::filesystem::create_directories(folderPath(), error);
  return !error && std::filesystem::is_directory(folderPath(), error);
}

ks::Value KSCacheFolder::load(std::string_view fileName) const {
  return ks::loadCacheFile(folderPath() / fileName);
}

void KSCacheFolder::save(std::string_view fileName, const ks::Value& root) const {
  const bool success = ks::NSKeyedArchiver::archiveRootObject(root, folderPath() / fileName);
  if (const auto observer = observer_.get()) {
    observer->cacheWritten({std::string(fileName), success});
  }
}
