#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

#include "BeaconSDK/Platform/Location/Regions/RegionStateFile.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

FileContent FileLocationStateStore::load() {
  DiskFileStore store;
  FileContent content = store.read(path_);
  if (content.state == FileContent::State::unreadable) {
    console_.log("Monitored regions are not there yet: " + content.problem);
  }
  const bool isWhole = content.state == FileContent::State::whole;
  if (isWhole && !isRegionList(content.bytes)) {
    content = {FileContent::State::damaged, {}, "'" + path_.string() + "' is damaged"};
  }
  if (content.state != FileContent::State::damaged) return content;
  console_.log("Monitored regions begin empty: " + content.problem + " and " +
               store.setAside(path_));
  return {};
}

bool FileLocationStateStore::save(const Data& data) {
  if (makePrivateFolder(path_.parent_path()) || DiskFileStore().write(path_, data)) return false;
  journal_.remove();
  return true;
}

Data FileLocationStateStore::loadJournal() { return DiskFileStore().read(journal_.path()).bytes; }

bool FileLocationStateStore::append(const Data& entries) { return !journal_.append(entries); }

}  // namespace ks
