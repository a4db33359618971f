#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

#include "BeaconSDK/Platform/Location/Regions/RegionStateFile.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace {

/// Many times what a thousand monitored regions take.
constexpr std::size_t kLongestFile = std::size_t{16} * 1024 * 1024;

}  // namespace

FileContent FileLocationStateStore::load() {
  DiskFileStore store;
  FileContent content = store.read(path_, kLongestFile);
  if (content.state == FileContent::State::unreadable) {
    console_.log("Monitored regions are not there yet: " + content.problem);
  }
  const bool isWhole = content.state == FileContent::State::whole;
  if (isWhole && !decodeRegions(content.bytes)) {
    content = {FileContent::State::damaged, {}, "'" + path_.string() + "' is damaged"};
  }
  if (content.state != FileContent::State::damaged) return content;
  console_.log("Monitored regions begin empty: " + content.problem + " and " +
               store.setAside(path_));
  return {};
}

bool FileLocationStateStore::save(const Data& data) {
  return !makePrivateFolder(path_.parent_path()) && !DiskFileStore().write(path_, data);
}

}  // namespace ks
